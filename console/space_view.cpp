#include "console/space_view.h"

#include "console/times.h"
#include "miscdisc/lobby/lobby_utils.h"
#include "miscdisc/platform/project_folders.h"

namespace console {
namespace {

constexpr char kSeeDoctor[] = "  \"miscdisc doctor\" looks closer, and takes it away with --fix";

std::string ownerCell(const SpaceLock& lock) {
  return lock.owner.empty() ? "-" : printable(lock.owner);
}

template <typename Item>
void printRows(Context& context, const std::vector<std::string>& heading, const char* kind,
               const std::vector<Item>& items) {
  const bool people = context.output.forPeople(context.options);
  std::vector<std::vector<std::string>> rows;
  for (const Item& item : items) {
    rows.push_back(cellsOf(item, people));
    if (!people) rows.back().insert(rows.back().begin(), kind);
  }
  context.output.printTable(context.options, heading, rows);
}

std::string foreign(const WString& path) {
  return printable(path) +
         " is named like a lock or login, but was made by another program: nobody holds it, and it "
         "counts as one.  Look at it with ls -l, and move it away";
}

std::string leftover(const SpaceLock& lock) {
  if (!lock.ordinary) {
    return "the lock of " + called(lock) +
           " is no ordinary file, so nobody can hold or take it: " + printable(lock.path) +
           ".  Look at it with ls -ld";
  }
  if (lock.foreign) return foreign(lock.path);
  const std::string whose = lock.owner.empty() ? "" : " of " + printable(lock.owner);
  return "the lock of " + called(lock) + " is a leftover" + whose + ": nobody holds it." +
         kSeeDoctor;
}

template <typename Item>
Json arrayOf(const Space& space, const std::vector<Item>& items) {
  if (space.answer != Space::Answer::kThere) return nullptr;
  Json array = Json::array();
  for (const Item& item : items) array.push_back(asJson(item));
  return array;
}

}  // namespace

const std::vector<std::string>& personHeading() {
  static const std::vector<std::string> kHeading = {"USER", "STATE", "SINCE", "YOU"};
  return kHeading;
}

std::vector<std::string> cellsOf(const Person& person, bool people) {
  return {printable(person.user), stateOf(person.held), when(person.since, people),
          person.you ? "yes" : "no"};
}

const std::vector<std::string>& lockHeading() {
  static const std::vector<std::string> kHeading = {"KIND",  "NAME",  "STATE",
                                                    "OWNER", "SINCE", "PATH"};
  return kHeading;
}

std::vector<std::string> cellsOf(const SpaceLock& lock, bool people) {
  return {kindOf(lock.kind), printable(lock.name),     stateOf(lock.held),
          ownerCell(lock),   when(lock.since, people), printable(lock.path)};
}

void printPeopleAndLocks(Context& context, const Space& space) {
  printRows(context, personHeading(), "person", space.people);
  const bool both = !space.people.empty() && !space.locks.empty();
  if (both && context.output.forPeople(context.options)) context.output.print("\n");
  printRows(context, lockHeading(), "lock", space.locks);
}

Json peopleOf(const Space& space) { return arrayOf(space, space.people); }

Json locksOf(const Space& space) { return arrayOf(space, space.locks); }

std::vector<std::string> holderCells(const SpaceLock* lock, bool people) {
  if (!lock) return {"free", "-", "-"};
  return {stateOf(lock->held), ownerCell(*lock), when(lock->since, people)};
}

void addHolder(Json& object, const SpaceLock* lock) {
  object["state"] = lock ? stateOf(lock->held) : "free";
  object["owner"] = nullptr;
  object["since"] = nullptr;
  if (!lock) return;
  if (!lock->owner.empty()) addText(object, "owner", lock->owner);
  object["since"] = rfc3339(lock->since);
}

std::string called(const SpaceLock& lock) { return kindOf(lock.kind) + " " + printable(lock.name); }

std::vector<std::string> leftovers(const Space& space) {
  std::vector<std::string> sentences;
  for (const Person& person : space.people) {
    if (person.held != Held::kNo) continue;
    if (person.foreign) {
      sentences.push_back(foreign(person.path));
      continue;
    }
    sentences.push_back(printable(person.user) +
                        "'s login is a leftover: nobody holds it, and it still counts as "
                        "somebody in the lobby." +
                        kSeeDoctor);
  }
  for (const SpaceLock& lock : space.locks) {
    if (lock.held == Held::kNo || !lock.ordinary) sentences.push_back(leftover(lock));
  }
  return sentences;
}

void sayIfLocal(const std::string& empty, const Options& options) {
  if (LobbyUtils::machineIsInNetworkMode()) return;
  remark(options, empty + ": this machine works locally, in " +
                      printable(getProjectsBaseDirectory()) +
                      ".  \"miscdisc lobby use\" chooses a lobby");
}

void sayEmpty(const std::string& what, const std::string& why, const Space& space,
              const Options& options) {
  if (options.json || exitOf(space) != kDone) return;
  if (!LobbyUtils::machineIsInNetworkMode()) return sayIfLocal("no " + what, options);
  remark(options, "no " + what + " in " + printable(space.folder) + ": " + why);
}

Exit reportProblems(const Space& space, const Options& options) {
  const std::string problem = problemOf(space, options);
  if (!problem.empty()) complain(problem);
  for (const std::string& fault : space.faults) complain(fault);
  return exitOf(space);
}

}  // namespace console
