// Rooms and projects of the space, and who has them.
#include <algorithm>

#include "console/folders.h"
#include "console/space_commands.h"
#include "console/space_view.h"
#include "miscdisc/netshare/special_room.h"
#include "miscdisc/platform/paths.h"

namespace console {
namespace {

// What can be held: a room or a project.
struct Holdable {
  WString name;
  WString path;
  const SpaceLock* lock;  // null: no lock file
};

std::vector<Holdable> roomsOf(const Space& space) {
  std::vector<Holdable> rooms;
  for (const Room& room : space.rooms) {
    rooms.push_back({room.name, room.path, lockOfRoom(space, room.path)});
  }
  return rooms;
}

std::vector<Holdable> projectsOf(const Space& space) {
  std::vector<Holdable> projects;
  for (const WString& name : space.projects) {
    const cookie project = cookie::fromWString(name).value();
    projects.push_back({name, space.folder + name, lockOfProject(space, project)});
  }
  return projects;
}

Json documentOf(const std::string& schema, const Space& space) {
  Json document{{"schema", schema}};
  addText(document, "space", space.folder);
  return document;
}

void add(Json& object, const Holdable& holdable) {
  addText(object, "name", holdable.name);
  addText(object, "path", holdable.path);
  addHolder(object, holdable.lock);
}

std::vector<std::string> cellsOf(const Holdable& holdable, const Context& context) {
  std::vector<std::string> cells =
      holderCells(holdable.lock, context.output.forPeople(context.options));
  cells.insert(cells.begin(), printable(holdable.name));
  return cells;
}

// "rooms" or "projects".
Exit list(Context& context, const std::string& what, const std::string& heading, const Space& space,
          const std::vector<Holdable>& holdables) {
  if (context.options.json) {
    Json document = documentOf("miscdisc." + what + "/1", space);
    document[what] = nullptr;
    if (space.answer == Space::Answer::kThere) document[what] = Json::array();
    for (const Holdable& holdable : holdables) {
      Json object;
      add(object, holdable);
      document[what].push_back(object);
    }
    context.output.printDocument(document);
  } else {
    std::vector<std::vector<std::string>> rows;
    for (const Holdable& holdable : holdables) rows.push_back(cellsOf(holdable, context));
    context.output.printTable(context.options, {heading, "STATE", "OWNER", "SINCE"}, rows);
  }
  if (holdables.empty()) {
    sayEmpty(what, "the program in which people edit makes them", space, context.options);
  }
  return reportProblems(space, context.options);
}

// The lock may lie where looking does not look.  kDone when it is known whether there is one.
Exit seeLock(Space& space, const WString& lockFile, const Options& options) {
  switch (lookCloser(space, lockFile, options)) {
    case LockLook::Answer::kThere:
    case LockLook::Answer::kNoFile:
      return kDone;
    case LockLook::Answer::kNoFolder:
      complain("there is no folder " + printable(getPath(lockFile)) +
               ".  \"miscdisc room list\" and \"miscdisc project list\" show what there is.");
      return kNotFound;
    case LockLook::Answer::kUnknown:
      break;
  }
  complain("whether somebody holds " + printable(lockFile) +
           " is not known: it does not answer, or its folder may not be searched.  Look at its "
           "mount and at its rights with ls -ld, or give it longer, for example with --timeout 5");
  return kIncomplete;
}

// Rooms.

Exit listRooms(Context& context) {
  const Space space = lookAtConfiguredSpace(context.options);
  return list(context, "rooms", "ROOM", space, roomsOf(space));
}

struct RoomCheck {
  Holdable room;
  std::optional<bool> enter;  // nothing: not known
  std::optional<bool> trash;
  std::vector<Person> others;  // logins of other users, leftovers too: they count
};

Holdable roomAt(const Space& space, const WString& path) {
  for (const Holdable& room : roomsOf(space)) {
    if (room.path == path) return room;
  }
  const SpaceLock* lock = lockOfRoom(space, path);
  return {lock ? lock->name : path.substr(space.folder.size()), path, lock};
}

RoomCheck check(const Space& space, const WString& path) {
  RoomCheck result{roomAt(space, path), true, true, {}};
  const SpaceLock* lock = result.room.lock;
  if (lock && lock->held == Held::kUnknown) result.enter.reset();
  if (lock && (lock->held == Held::kYes || !lock->ordinary)) result.enter = false;
  result.trash = isSpecialRoom(path) ? true : result.enter;  // its lock is not asked for then
  for (const Person& person : space.people) {
    if (!person.you) result.others.push_back(person);
  }
  if (!result.others.empty()) result.trash = false;
  return result;
}

Json orNull(const std::optional<bool>& value) { return value ? Json(*value) : Json(nullptr); }

std::string yesOrNo(const std::optional<bool>& value) {
  if (!value) return "unknown";
  return *value ? "yes" : "no";
}

void show(Context& context, const Space& space, const RoomCheck& check) {
  if (context.options.json) {
    Json document = documentOf("miscdisc.room/1", space);
    add(document, check.room);
    document["enter"] = orNull(check.enter);
    document["trash"] = orNull(check.trash);
    document["others"] = Json::array();
    for (const Person& person : check.others) document["others"].push_back(asJson(person));
    context.output.printDocument(document);
    return;
  }
  std::vector<std::string> row = cellsOf(check.room, context);
  row.push_back(yesOrNo(check.enter));
  row.push_back(yesOrNo(check.trash));
  context.output.printTable(context.options, {"ROOM", "STATE", "OWNER", "SINCE", "ENTER", "TRASH"},
                            {row});
}

Exit sayWhoHolds(const Holdable& room, const Options& options) {
  const SpaceLock* lock = room.lock;
  if (!lock) return kDone;
  const std::string name = "room " + printable(room.name);
  if (!lock->ordinary) {
    complain(name + " cannot be entered: " + printable(lock->path) +
             " is no ordinary file.  Look at it with ls -ld");
    return kFailed;
  }
  if (lock->held == Held::kYes) {
    complain(name + " is held by " + holder(*lock) +
             ".  \"miscdisc locks wait\" waits until it is free.");
    return kHeld;
  }
  if (lock->held == Held::kUnknown) {
    complain("whether " + holder(*lock) + " still holds " + name +
             " cannot be told: the storage does not say, or " + printable(lock->path) +
             " may not be read.  Ask its owner, or try to enter it");
    return kIncomplete;
  }
  remark(options, "the lock file of " + name +
                      " is a leftover: nobody holds it, and the room can "
                      "be entered");
  return kDone;
}

void sayWhoElseIsThere(const std::vector<Person>& others, const Options& options) {
  for (const Person& other : others) {
    remark(options, printable(other.user) +
                        (other.held == Held::kNo ? "'s login is a leftover, which counts like one: "
                                                 : " is in the lobby: ") +
                        "the room may not be trashed");
  }
}

Exit checkRoom(Context& context, const std::string& name) {
  const Options& options = context.options;
  Space space = lookAtConfiguredSpace(options);
  if (space.answer != Space::Answer::kThere) return reportProblems(space, options);
  const auto path = roomPath(space, name);
  if (!path) return kUsage;
  if (const Exit exit = seeLock(space, lockFileOfRoom(*path), options)) {
    if (exit == kNotFound) sayIfLocal("no room " + printable(name), options);
    return exit;
  }
  if (const std::string none = whyNoRoom(space, *path, options); !none.empty()) {
    complain(none);
    sayIfLocal("no room " + printable(name), options);
    return kNotFound;
  }
  const WString worse = worseSpelling(space, *path, options);
  const RoomCheck found = check(space, worse);
  show(context, space, found);
  const Exit exit = sayWhoHolds(found.room, options);
  sayWhoElseIsThere(found.others, options);
  if (worse != *path) {
    remark(options, "with .Room and without it are two names of one room: the lock is " +
                        printable(lockFileOfRoom(worse)));
  }
  const Exit seen = reportProblems(space, options);
  return found.room.lock ? exit : seen;
}

// Projects.

Exit listProjects(Context& context) {
  const Space space = lookAtConfiguredSpace(context.options);
  return list(context, "projects", "PROJECT", space, projectsOf(space));
}

Exit sayWhoHas(const Holdable& project, const Options& options) {
  const SpaceLock* lock = project.lock;
  const std::string nobody = "nobody has project " + printable(project.name) + " open";
  if (!lock) {
    remark(options, nobody);
  } else if (!lock->ordinary) {
    complain(nobody + ", and nobody can: " + printable(lock->path) +
             " is no ordinary file.  Look at it with ls -ld");
    return kFailed;
  } else if (lock->held == Held::kNo) {
    remark(options, nobody + ": its lock file is a leftover of " + holder(*lock));
  }
  return kDone;
}

Exit whoHasProject(Context& context, const std::string& name) {
  const Options& options = context.options;
  const auto wanted = projectNamed(name);
  if (!wanted) return kUsage;
  Space space = lookAtConfiguredSpace(options);
  const Exit seen = reportProblems(space, options);
  const WString lockFile = lockFileOfProject(space, *wanted);
  const bool listed = std::count(space.projects.begin(), space.projects.end(), wanted->asWString());
  if (space.answer == Space::Answer::kThere && !listed &&
      isFolder(getPath(lockFile), options.deadline())) {
    space.projects.push_back(wanted->asWString());  // a link to a folder
    lookCloser(space, lockFile, options);
  }
  const auto projects = projectsOf(space);
  const auto project = std::find_if(projects.begin(), projects.end(), [&](const Holdable& known) {
    return known.name == wanted->asWString();
  });
  if (project == projects.end()) {
    if (seen != kDone) return seen;
    complain("there is no project " + printable(wanted->asWString()) + " in " +
             printable(space.folder) + ".  \"miscdisc project list\" shows which there are.");
    return kNotFound;
  }
  if (options.json) {
    Json document = documentOf("miscdisc.project/1", space);
    add(document, *project);
    context.output.printDocument(document);
  } else {
    context.output.printTable(options, {"PROJECT", "STATE", "OWNER", "SINCE"},
                              {cellsOf(*project, context)});
  }
  return !project->lock && seen != kDone ? seen : sayWhoHas(*project, options);
}

}  // namespace

void addRoom(CLI::App& app, Context& context, Command& chosen) {
  CLI::App* room = app.add_subcommand("room", "Rooms of the space");
  room->require_subcommand(1);
  addSpaceCommand(*room, chosen, "list", "Which rooms there are, and who is in them",
                  [&context] { return listRooms(context); });
  const auto name = std::make_shared<std::string>();
  addSpaceCommand(*room, chosen, "check",
                  "Whether a room can be entered, or trashed.  Exit code 4: there is no such room",
                  [&context, name] { return checkRoom(context, *name); })
      ->add_option("ROOM", *name, "Its path from the space, with .Room or without")
      ->required();
  addRoomGo(*room, context, chosen);
}

void addProject(CLI::App& app, Context& context, Command& chosen) {
  CLI::App* project = app.add_subcommand("project", "Projects of the space, and who has them");
  project->require_subcommand(1);
  addSpaceCommand(*project, chosen, "list", "Which projects there are, and who has them open",
                  [&context] { return listProjects(context); });
  const auto name = std::make_shared<std::string>();
  addSpaceCommand(*project, chosen, "who",
                  "Who has a project open, if anybody.  Exit code 4: there is no such project",
                  [&context, name] { return whoHasProject(context, *name); })
      ->add_option("PROJECT", *name, "For example P0001000")
      ->required();
}

}  // namespace console
