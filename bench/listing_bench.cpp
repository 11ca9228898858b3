// What a listing costs beyond the system calls it cannot do without.
//
//   listing_bench [--files N[,N...]] [--folder DIR] [--strict]
//
// Every measure and its bare counterpart take turns in the same run; the figures are medians of
// the rounds and the ratio is the median of the rounds' ratios.  A bound that is exceeded says
// OVER; with --strict the exit status is then 1.
#include <dirent.h>
#include <fcntl.h>
#include <linux/perf_event.h>
#include <malloc.h>
#include <stdlib.h>
#include <sys/ioctl.h>
#include <sys/stat.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <cstring>
#include <ctime>
#include <filesystem>
#include <fstream>
#include <functional>
#include <memory>
#include <optional>
#include <random>
#include <stdexcept>
#include <string>
#include <vector>

#include "bench/timing.h"
#include "miscdisc/dircache/system_cache_iterator.h"
#include "miscdisc/platform/directory.h"

namespace {

namespace fs = std::filesystem;

constexpr unsigned kDetails = STATX_TYPE | STATX_MODE | STATX_SIZE | STATX_MTIME | STATX_CTIME;
constexpr size_t kReadBytes = 64 * 1024;
constexpr size_t kSample = 5000;
constexpr size_t kPatches = 500;  // few, for a path that is patched has just been put together

volatile uint64_t sink;  // results go here, so that no pass is left out

double cpuSeconds() {
  timespec now;
  clock_gettime(CLOCK_PROCESS_CPUTIME_ID, &now);
  return static_cast<double>(now.tv_sec) + static_cast<double>(now.tv_nsec) * 1e-9;
}

double cpuSecondsOf(const std::function<void()>& work) {
  const double start = cpuSeconds();
  work();
  return cpuSeconds() - start;
}

// For work that answers from memory: what the other side of the comparison has pushed out of the
// processor's caches is back before the measured pass.
double warmCpuSecondsOf(const std::function<void()>& work) {
  work();
  return cpuSecondsOf(work);
}

struct Pair {
  double ours, bare, ratio;  // ratio: ours / bare
};

// What two ways of one work cost, measured in turns; each gives its CPU seconds.
Pair inTurns(int rounds, const std::function<double()>& ours, const std::function<double()>& bare) {
  std::vector<double> mine, theirs, ratios;
  ours(), bare();  // the first pass warms what both of them use
  for (int i = 0; i < rounds; ++i) {
    const bool first = i % 2 == 0;
    const double a = first ? ours() : 0;
    theirs.push_back(bare());
    mine.push_back(first ? a : ours());
    ratios.push_back(mine.back() / theirs.back());
  }
  return {median(mine), median(theirs), median(ratios)};
}

bool anyOver = false;

void printHead() {
  std::printf("%-34s %9s %13s %13s %9s %9s\n", "measure", "files", "ours", "bare", "ratio",
              "bound");
}

void printLine(const char* measure, size_t files, const std::string& ours, const std::string& bare,
               double ratio, const std::string& bound, bool ok) {
  anyOver |= !ok;
  std::printf("%-34s %9zu %13s %13s %9.3f %9s  %s\n", measure, files, ours.c_str(), bare.c_str(),
              ratio, bound.c_str(), ok ? "ok" : "OVER");
  std::fflush(stdout);
}

std::string format(const char* pattern, double value) {
  char text[64];
  std::snprintf(text, sizeof text, pattern, value);
  return text;
}

std::string nanoseconds(double seconds) { return format("%.1f ns", seconds * 1e9); }

// Counts this process's instructions in user mode, where the machine lets it.
class InstructionCounter {
 public:
  InstructionCounter() {
    perf_event_attr what{};
    what.size = sizeof what;
    what.type = PERF_TYPE_HARDWARE;
    what.config = PERF_COUNT_HW_INSTRUCTIONS;
    what.exclude_kernel = 1;
    what.exclude_hv = 1;
    fd_ = static_cast<int>(syscall(SYS_perf_event_open, &what, 0, -1, -1, PERF_FLAG_FD_CLOEXEC));
  }
  ~InstructionCounter() {
    if (fd_ >= 0) close(fd_);
  }
  InstructionCounter(const InstructionCounter&) = delete;
  InstructionCounter& operator=(const InstructionCounter&) = delete;

  std::optional<double> of(const std::function<void()>& work) const {
    uint64_t before = 0, after = 0;
    if (fd_ < 0 || read(fd_, &before, sizeof before) != sizeof before) return std::nullopt;
    work();
    if (read(fd_, &after, sizeof after) != sizeof after || after == before) return std::nullopt;
    return static_cast<double>(after - before);
  }

 private:
  int fd_ = -1;
};

// A folder of clips with names as a camera gives them, removed in the end.
class ClipFolder {
 public:
  ClipFolder(const std::string& parent, size_t files) : path_(parent + "/clips/") {
    fs::create_directory(path_);
    for (size_t i = 0; i < files; ++i) {
      const int fd = open((path_ + name(i)).c_str(), O_CREAT | O_WRONLY | O_CLOEXEC, 0644);
      if (fd < 0) throw std::runtime_error("cannot make " + path_ + name(i));
      close(fd);
    }
  }
  ~ClipFolder() { fs::remove_all(path_); }
  ClipFolder(const ClipFolder&) = delete;
  ClipFolder& operator=(const ClipFolder&) = delete;

  static std::string name(size_t number) {
    char text[64];
    std::snprintf(text, sizeof text, "A%03zuC%05zu_201121_R1AB.mxf", number / 10000 % 1000,
                  number % 10000);
    return text;
  }
  const std::string& path() const { return path_; }
  WString mask() const { return Qx::WStringFromUTF8(path_) + L"????????.*"; }

 private:
  std::string path_;
};

size_t bareListing(const std::string& path) {
  const int fd = open(path.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC);
  const auto block = std::make_unique_for_overwrite<char[]>(kReadBytes);
  size_t count = 0;
  for (ssize_t bytes; (bytes = getdents64(fd, block.get(), kReadBytes)) > 0;) {
    for (ssize_t at = 0; at < bytes;) {
      const auto* entry = reinterpret_cast<const dirent64*>(block.get() + at);
      at += entry->d_reclen;
      struct statx details;
      count += statx(fd, entry->d_name, AT_NO_AUTOMOUNT, kDetails, &details) == 0;
    }
  }
  close(fd);
  return count;
}

std::unique_ptr<Directory> list(const ClipFolder& clips) {
  return std::make_unique<Directory>(clips.mask(), 0, 0, Directory::eLocked);
}

size_t allocatedBytes() {
  const struct mallinfo2 info = mallinfo2();
  return info.uordblks + info.hblkhd;
}

// Names in random order, in all the forms that a measure needs.
struct Sample {
  std::vector<WString> names;
  std::vector<WString> widePaths;
  std::vector<std::string> paths;

  Sample(const ClipFolder& clips, size_t files, size_t size) {
    std::mt19937_64 random(files);
    for (size_t i = 0; i < std::min(size, files); ++i) {
      const std::string name = ClipFolder::name(random() % files);
      names.push_back(Qx::WStringFromUTF8(name));
      paths.push_back(clips.path() + name);
      widePaths.push_back(Qx::WStringFromUTF8(paths.back()));
    }
  }
  double count() const { return static_cast<double>(names.size()); }
};

// The cost of one pass.
Pair measureListing(const ClipFolder& clips, size_t files) {
  const auto passes = std::max<size_t>(1, 20000 / files);
  const int rounds = files >= 1'000'000 ? 7 : files >= 100'000 ? 11 : 21;
  const auto perFile = static_cast<double>(passes * files);
  const Pair cost = inTurns(
      rounds,
      [&] {
        // Reading and destroying, as each round leaves nothing behind in either case.
        return cpuSecondsOf([&] {
          for (size_t i = 0; i < passes; ++i) sink = list(clips)->getcount();
        });
      },
      [&] {
        return cpuSecondsOf([&] {
          for (size_t i = 0; i < passes; ++i) sink = bareListing(clips.path());
        });
      });
  printLine("listing, CPU a file", files, nanoseconds(cost.ours / perFile),
            nanoseconds(cost.bare / perFile), cost.ratio, "<= 1.06", cost.ratio <= 1.06);
  const auto count = static_cast<double>(passes);
  return {cost.ours / count, cost.bare / count, cost.ratio};
}

void measureInstructions(const ClipFolder& clips, size_t files) {
  const InstructionCounter counter;
  const auto ours = counter.of([&] { sink = list(clips)->getcount(); });
  const auto bare = counter.of([&] { sink = bareListing(clips.path()); });
  if (!ours || !bare) {
    std::printf("%-34s %9zu  not measurable here: no hardware counter\n",
                "listing, user instructions a file", files);
    return;
  }
  const auto perFile = static_cast<double>(files);
  const double beyond = (*ours - *bare) / perFile;
  printLine("listing, user instructions a file", files, format("%.0f", *ours / perFile),
            format("%.0f", *bare / perFile), beyond, "<= +400", beyond <= 400);
}

// As the allocator counts it: everything that building the listing left allocated.
void measureMemory(const ClipFolder& clips, size_t files) {
  const size_t before = allocatedBytes();
  const auto listing = list(clips);
  const double bytes = static_cast<double>(allocatedBytes() - before) / static_cast<double>(files);
  const double bound = 72 + 4 * (static_cast<double>(ClipFolder::name(0).size()) + 1);
  printLine("memory, bytes a file (mallinfo2)", files, format("%.1f", bytes), "-", bytes / bound,
            format("<= %.0f", bound), bytes <= bound);
}

void measureHits(const ClipFolder& clips, size_t files) {
  const auto listing = list(clips);
  const Sample sample(clips, files, kSample);
  const Pair cost = inTurns(
      15,
      [&] {
        return warmCpuSecondsOf([&] {
          for (const WString& name : sample.names) sink = listing->find(name)->size;
        });
      },
      [&] {
        return warmCpuSecondsOf([&] {
          for (const std::string& path : sample.paths) {
            struct stat details;
            sink = static_cast<uint64_t>(stat(path.c_str(), &details));
          }
        });
      });
  const double bound = files >= 1'000'000 ? 5 : files >= 100'000 ? 12 : 25;
  printLine("find, hit: times faster than stat", files, nanoseconds(cost.ours / sample.count()),
            nanoseconds(cost.bare / sample.count()), 1 / cost.ratio, format(">= %.0f", bound),
            1 / cost.ratio >= bound);
}

void measureMisses(const ClipFolder& clips, size_t files) {
  constexpr size_t kListings = 52;  // two on each of 26 volumes
  constexpr size_t kMisses = 200;
  std::vector<std::unique_ptr<Directory>> listings;
  for (size_t i = 0; i < kListings; ++i) listings.push_back(list(clips));
  std::vector<WString> names;
  std::vector<std::string> paths;
  for (size_t i = 0; i < kMisses; ++i) {
    const std::string name = "missing-" + ClipFolder::name(i);
    names.push_back(Qx::WStringFromUTF8(name));
    paths.push_back(clips.path() + name);
  }
  const Pair cost = inTurns(
      15,
      [&] {
        return warmCpuSecondsOf([&] {
          for (const WString& name : names) {
            for (const auto& listing : listings) sink = listing->find(name) != nullptr;
          }
        });
      },
      // The kernel keeps the missing names too after their first time.
      [&] {
        return warmCpuSecondsOf([&] {
          for (const std::string& path : paths) {
            for (size_t i = 0; i < kListings; ++i) {
              struct stat details;
              sink = static_cast<uint64_t>(stat(path.c_str(), &details));
            }
          }
        });
      });
  printLine("find, miss on 26 volumes: faster", files, nanoseconds(cost.ours / kMisses),
            nanoseconds(cost.bare / kMisses), 1 / cost.ratio, ">= 20", 1 / cost.ratio >= 20);
}

// The clips as the library caches them: the folder of the benchmark is volume E.
struct CachedClips {
  CachedClips() {
    cache.add(directory_spec(L"E:/clips/"));
    cache.validate(0, L"");
    if (directory()->count() == 0) throw std::runtime_error("the clips are not on volume E");
  }
  // A cache leaves its listings alive.
  ~CachedClips() { cache.invalidate(0, L""); }

  directory_cache* directory() {
    auto* volume = static_cast<volume_cache*>(*DLListIterator(cache));
    return static_cast<directory_cache*>(*DLListIterator(volume->directories));
  }

  directory_criteria criteria{L"*.*", 0, false};
  system_cache cache{criteria};
};

void measureWalk(size_t files) {
  CachedClips cached;
  Directory* listing = cached.directory()->currentListing();
  // The stretches of memory in which the records lie one behind the other.
  const auto behind = [](const file_info* record) {
    const size_t bytes = sizeof(file_info) + (record->nameLength + 1) * sizeof(wchar_t);
    return reinterpret_cast<const file_info*>(reinterpret_cast<const char*>(record) +
                                              (bytes + 7) / 8 * 8);
  };
  struct Stretch {
    const file_info *begin, *end;
  };
  std::vector<Stretch> stretches;
  for (DirectoryIterator entry(listing); *entry; entry.next()) {
    if (stretches.empty() || stretches.back().end != *entry) stretches.push_back({*entry, *entry});
    stretches.back().end = behind(*entry);
  }
  const auto passes = std::max<size_t>(1, 1'000'000 / files);
  const Pair cost = inTurns(
      15,
      [&] {
        return cpuSecondsOf([&] {
          for (size_t i = 0; i < passes; ++i) {
            uint64_t sum = 0;
            SystemCacheIterator walk(&cached.cache);
            for (const file_info* file = walk.file; file; file = walk.next()) sum += file->size;
            sink = sum;
          }
        });
      },
      [&] {
        return cpuSecondsOf([&] {
          for (size_t i = 0; i < passes; ++i) {
            uint64_t sum = 0;
            for (const Stretch& stretch : stretches) {
              for (auto* record = stretch.begin; record != stretch.end; record = behind(record)) {
                sum += record->size;
              }
            }
            sink = sum;
          }
        });
      });
  const auto perFile = static_cast<double>(passes * files);
  printLine("walk, CPU a file", files, nanoseconds(cost.ours / perFile),
            nanoseconds(cost.bare / perFile), cost.ratio, "<= 2.5", cost.ratio <= 2.5);
}

// The one system call that every patch must make.
double secondsOfBareStatx(const std::vector<std::string>& paths) {
  return cpuSecondsOf([&] {
    for (const std::string& path : paths) {
      struct statx details;
      sink =
          static_cast<uint64_t>(statx(AT_FDCWD, path.c_str(), AT_NO_AUTOMOUNT, kDetails, &details));
    }
  });
}

void measurePatch(const ClipFolder& clips, size_t files, bool listed) {
  const auto listing = list(clips);
  const Sample sample(clips, files, kPatches);
  const Pair cost = inTurns(
      101,
      [&] {
        if (!listed) {
          for (const WString& path : sample.widePaths) {
            Directory one(path, Directory::eLocked);
            listing->removeFile(*DirectoryIterator(&one));
          }
        }
        return cpuSecondsOf([&] {
          for (const WString& path : sample.widePaths) {
            Directory one(path, 1, 0, Directory::eLocked);
            sink = listing->addFile(*DirectoryIterator(&one));
          }
        });
      },
      [&] { return secondsOfBareStatx(sample.paths); });
  printLine(listed ? "patch a listed file" : "patch a new file", files,
            nanoseconds(cost.ours / sample.count()), nanoseconds(cost.bare / sample.count()),
            cost.ratio, "<= 1.15", cost.ratio <= 1.15);
}

// The same from the front of the cache, which finds the volume and the directory by the path.
void measureFrontPatch(const ClipFolder& clips, size_t files) {
  CachedClips cached;
  const Sample sample(clips, files, kPatches);
  std::vector<WString> paths;
  for (const WString& path : sample.widePaths) {
    paths.push_back(L"E:/clips/" + path.substr(path.rfind(L'/') + 1));
  }
  const Pair cost = inTurns(
      31,
      [&] {
        return cpuSecondsOf([&] {
          for (const WString& path : paths) sink = cached.cache.addFile(path);
        });
      },
      [&] { return secondsOfBareStatx(sample.paths); });
  printLine("patch, from the front of the cache", files, nanoseconds(cost.ours / sample.count()),
            nanoseconds(cost.bare / sample.count()), cost.ratio, "-", true);
}

// The settings of whoever runs this must not matter, and nothing of it stays.
struct BenchFolder {
  explicit BenchFolder(const std::string& parent) : path(parent + "/miscdisc-bench-XXXXXX") {
    if (!mkdtemp(path.data())) throw std::runtime_error("cannot make " + path);
    setenv("MISCDISC_HOME", path.c_str(), 1);
    std::ofstream(path + "/config.toml") << "[volumes]\ndiscover = false\nE = '" << path << "'\n";
  }
  ~BenchFolder() { fs::remove_all(path); }
  std::string path;
};

void measureAll(const std::vector<size_t>& sizes, const std::string& parent) {
  const BenchFolder folder(parent);
  printHead();
  Pair lastCost{};
  size_t lastFiles = 0;
  for (const size_t files : sizes) {
    const ClipFolder clips(folder.path, files);
    const Pair cost = measureListing(clips, files);
    if (lastFiles != 0) {
      const double growth = static_cast<double>(files) / static_cast<double>(lastFiles);
      const double ours = std::log(cost.ours / lastCost.ours) / std::log(growth);
      const double bare = std::log(cost.bare / lastCost.bare) / std::log(growth);
      printLine("listing, growth exponent", files, format("%.3f", ours), format("%.3f", bare),
                ours / bare, "<= 1.05", ours / bare <= 1.05);
    }
    lastCost = cost;
    lastFiles = files;
    measureInstructions(clips, files);
    measureMemory(clips, files);
    measureHits(clips, files);
    if (files <= 100'000) measureMisses(clips, files);  // beyond, 52 listings fill the memory
    measureWalk(files);
    measurePatch(clips, files, true);
    measurePatch(clips, files, false);
    measureFrontPatch(clips, files);
  }
}

}  // namespace

int main(int argc, char** argv) {
  std::vector<size_t> sizes = {10'000, 100'000, 1'000'000};
  std::string parent = fs::temp_directory_path().string();
  bool strict = false, understood = true;
  for (int i = 1; i < argc; ++i) {
    const std::string argument = argv[i];
    if (argument == "--files" && i + 1 < argc) {
      sizes.clear();
      for (char* at = argv[++i]; *at;) {
        const size_t files = std::strtoull(at, &at, 10);
        if (files > 0) sizes.push_back(files);
        if (*at) ++at;
      }
    } else if (argument == "--folder" && i + 1 < argc) {
      parent = argv[++i];
    } else if (argument == "--strict") {
      strict = true;
    } else {
      understood = false;
    }
  }
  if (!understood || sizes.empty()) {
    std::fprintf(stderr, "usage: listing_bench [--files N[,N...]] [--folder DIR] [--strict]\n");
    return 2;
  }
  try {
    measureAll(sizes, parent);
  } catch (const std::exception& problem) {
    std::fprintf(stderr, "listing_bench: %s\n", problem.what());
    return 2;
  }
  std::puts(anyOver ? "A bound is exceeded." : "Every bound holds.");
  return anyOver && strict ? 1 : 0;
}
