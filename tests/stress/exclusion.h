// Who holds which lock, in memory that processes share: exclusion is checked by other means than
// locks.
#pragma once

#include <atomic>
#include <chrono>
#include <cstddef>
#include <cstdint>
#include <thread>

constexpr size_t kMostProcesses = 64;

// A run of a process: its slot (from 1) in the low byte, and in the others a number that no other
// run has, so that a word that a killed run left is never taken for the next run's.
inline uint64_t identityOf(uint64_t run, size_t slot) { return run << 8 | (slot + 1); }
inline size_t slotOf(uint64_t identity) { return (identity & 0xFF) - 1; }

inline int64_t nanosecondsNow() {
  return std::chrono::duration_cast<std::chrono::nanoseconds>(
             std::chrono::steady_clock::now().time_since_epoch())
      .count();
}

// Lies in shared memory and begins as zeros.
template <size_t kLocks>
class Exclusion {
 public:
  // For whoever got the lock.  True when nobody was there; otherwise a double holder is counted.
  bool enter(size_t lock, uint64_t identity) {
    ++turns_[lock];
    const bool alone = enterWhenBuried(lock, identity);
    if (!alone) ++doubleHolders;
    noteRecovery(lock);
    return alone;
  }

  // For the holder, before it gives the lock back.
  void leave(size_t lock, uint64_t identity) { owner_[lock].compare_exchange_strong(identity, 0); }

  // A holder as it was seen: the run, and how often somebody has entered.
  struct Sight {
    uint64_t holder, turn;
  };
  Sight look(size_t lock) const {
    const uint64_t turn = turns_[lock];
    return {owner_[lock], turn};
  }

  // That holder has held the lock without a break since then, and lives.
  bool stillHolds(size_t lock, const Sight& seen) const {
    return seen.holder != 0 && owner_[lock] == seen.holder && turns_[lock] == seen.turn &&
           !isDoomed(seen.holder);
  }

  // About to be killed, or dead: of a slot's runs the later one is the greater number.
  bool isDoomed(uint64_t identity) const { return doomed_[slotOf(identity)] >= identity; }

  // For the parent: before it kills a run, and when that has ended.  The number of locks that the
  // run held.
  void doom(uint64_t identity) {
    doomed_[slotOf(identity)] = identity;
    doomedAt_ = nanosecondsNow();
  }
  int bury(uint64_t identity) {
    buried_[slotOf(identity)] = identity;
    int held = 0;
    for (size_t lock = 0; lock < kLocks; ++lock) {
      if (owner_[lock] != identity) continue;
      holderKilled_[lock] = doomedAt_;
      ++held;
      uint64_t dead = identity;
      owner_[lock].compare_exchange_strong(dead, 0);
    }
    return held;
  }

  std::atomic<uint64_t> doubleHolders;
  std::atomic<int64_t> longestRecovery;  // nanoseconds from a holder's death to the next holder

 private:
  // A killed holder cannot clear its word: the kernel gives its lock away first, and the parent
  // clears the word after that.  So a word of a run that was doomed before we looked is waited for,
  // until the parent has buried that run; every other word, and one that its own run clears while
  // we wait, belongs to a second holder.
  bool enterWhenBuried(size_t lock, uint64_t identity) {
    while (true) {
      uint64_t found = 0;
      if (owner_[lock].compare_exchange_strong(found, identity)) return true;
      if (!isDoomed(found)) return false;
      while (owner_[lock] == found) std::this_thread::sleep_for(std::chrono::microseconds(50));
      if (buried_[slotOf(found)] < found) return false;
    }
  }

  void noteRecovery(size_t lock) {
    const int64_t killed = holderKilled_[lock].exchange(0);
    if (killed == 0) return;
    const int64_t took = nanosecondsNow() - killed;
    int64_t longest = longestRecovery;
    while (took > longest && !longestRecovery.compare_exchange_weak(longest, took)) {
    }
  }

  std::atomic<uint64_t> owner_[kLocks];
  std::atomic<uint64_t> turns_[kLocks];
  std::atomic<int64_t> holderKilled_[kLocks];     // nanoseconds; 0: no kill waits for a successor
  std::atomic<uint64_t> doomed_[kMostProcesses];  // by slot: the run that is about to be killed
  std::atomic<uint64_t> buried_[kMostProcesses];  // by slot: the last run that is known to be dead
  int64_t doomedAt_;                              // the parent's own
};
static_assert(std::atomic<uint64_t>::is_always_lock_free);
