# Rooms, projects and their locks.
load setup
load lobby

@test "room list says who is in which room" {
  share
  start_machine bob bob
  tell bob "enter Alpha"
  tell bob "room Edit 1.Room"
  mkdir net/Alpha/P0002000
  : >"net/Alpha/P0002000/Left over.lck"
  touch -d 2026-01-02T03:04:05Z net/Alpha/*.lck net/Alpha/*/*.lck
  local at=2026-01-02T03:04:05Z
  ask room list
  expect_code 0
  expect_data "Edit 1	live	bob	$at" "P0001000/Mix	free	-	-" "P0002000/Left over	stale	-	$at"
  ask room list --json
  [ "$(jq -c . data)" = "{\"schema\":\"miscdisc.rooms/1\",\"space\":\"$PWD/net/Alpha/\",\"rooms\":[{\"name\":\"Edit 1\",\"path\":\"$PWD/net/Alpha/Edit 1.Room\",\"state\":\"live\",\"owner\":\"bob\",\"since\":\"$at\"},{\"name\":\"P0001000/Mix\",\"path\":\"$PWD/net/Alpha/P0001000/Mix.Room\",\"state\":\"free\",\"owner\":null,\"since\":null},{\"name\":\"P0002000/Left over\",\"path\":\"$PWD/net/Alpha/P0002000/Left over\",\"state\":\"stale\",\"owner\":null,\"since\":\"$at\"}]}" ]
}

@test "room check tells a room that is free from one that is held and one that was" {
  share
  start_machine bob bob
  tell bob "enter Alpha"
  tell bob "room Edit 1.Room"
  for name in "Edit 1" "Edit 1.Room" "$PWD/net/Alpha/Edit 1.Room"; do
    ask room check "$name"
    expect_code 5
    expect_data "Edit 1	live	bob	$(since "net/Alpha/Edit 1.Room.lck")	no	no"
    expect_words "room Edit 1 is held by bob since $(since "net/Alpha/Edit 1.Room.lck")"
    expect_words "bob is in the lobby: the room may not be trashed"
  done
  ask room check P0001000/Mix --json
  expect_code 0
  [ "$(jq -c '[.schema, .state, .enter, .trash, [.others[].user]]' data)" = '["miscdisc.room/1","free",true,false,["bob"]]' ]
  crash_machine bob
  ask room check "Edit 1"
  expect_code 0
  [ "$(cut -f2,5,6 data)" = "stale	yes	no" ]
  expect_words "is a leftover: nobody holds it, and the room can be entered"
  expect_words "bob's login is a leftover, which counts like one"
  rm net/Alpha/bob.cli
  ask room check "Edit 1" -q
  expect_code 0
  [ "$(cut -f2,5,6 data)" = "stale	yes	yes" ]
  [ ! -s words ]
  : >"net/Alpha/New room.Room"
  ask room check "New room"
  expect_code 0
  expect_data "New room	free	-	-	yes	yes"
}

@test "a held room or project is found where lists do not look for it" {
  share
  mkdir -p net/Alpha/a/b net/Alpha/.hidden net/Elsewhere/P0005000
  ln -s ../Elsewhere net/Alpha/Link
  ln -s ../Elsewhere/P0005000 net/Alpha/P0005000
  start_machine bob bob
  tell bob "enter Alpha"
  for room in a/b/Deep .hidden/Cut Link/Cut Media/Material/Cut; do
    tell bob "room $room.Room"
    ask room check "$room.Room"
    expect_code 5
    [ "$(cut -f1-3,5 data)" = "$room	live	bob	no" ]
    expect_words "room $room is held by bob since"
  done
  tell bob "lock-project P0005000"
  ask project who P0005000
  expect_code 0
  [ "$(cut -f1-3 data)" = "P0005000	live	bob" ]
}

@test "of a room that is spelled with .Room and without the worse state counts" {
  share
  start_machine bob bob
  tell bob "enter Alpha"
  tell bob "room Edit 1"
  local at
  at=$(since "net/Alpha/Edit 1.lck")
  ask room list
  expect_data "Edit 1	live	bob	$at" "Edit 1	free	-	-" "P0001000/Mix	free	-	-"
  for name in "Edit 1" "Edit 1.Room" "$PWD/net/Alpha/Edit 1"; do
    ask room check "$name"
    expect_code 5
    expect_data "Edit 1	live	bob	$at	no	no"
    ask locks wait "$name" --for 0
    expect_code 5
  done
  ask room check "Edit 1.Room"
  expect_words "the lock is $PWD/net/Alpha/Edit 1.lck"
}

@test "a room that is not there is not found, and a near one is named" {
  share
  for command in "room check" "locks wait --for 1"; do
    ask $command "edit 1"
    expect_code 4
    [ ! -s data ]
    expect_words 'there is no room "edit 1" in Alpha; did you mean "Edit 1"? "miscdisc room list" shows which there are'
    ask $command mix.room
    expect_code 4
    expect_words 'there is no room "mix" in Alpha; did you mean "P0001000/Mix"?'
    ask $command "$PWD/net/Alpha/nonsense"
    expect_code 4
    expect_words 'there is no room "nonsense" in Alpha. "miscdisc room list"'
  done
  # Its file or its lock is enough, wherever it lies.
  mkdir -p net/Alpha/a/b
  : >net/Alpha/a/b/Deep.Room
  : >net/Alpha/Left.lck
  for room in a/b/Deep a/b/Deep.Room Left Left.Room; do
    ask room check "$room"
    expect_code 0
    ask locks wait "$room" --for 1
    expect_code 0
  done
  ask room check a/b/deep
  expect_code 4
}

@test "a local space is named by its folder where it lacks a room" {
  mkdir -p "$MISCDISC_HOME/projects"
  ask room check Cut
  expect_code 4
  expect_words "there is no room \"Cut\" in $MISCDISC_HOME/projects/."
}

@test "a project's lock is no room" {
  share
  : >net/Alpha/P0001000/Lock
  ask room check P0001000/Lock
  expect_code 2
  expect_words '"P0001000/Lock" is no room in'
}

@test "a room in no folder is not found" {
  share
  ask room check P0003000/Cut
  expect_code 4
  [ ! -s data ]
  expect_words "there is no folder $PWD/net/Alpha/P0003000/."
}

@test "room check cannot tell what the storage does not" {
  share
  : >"net/Alpha/Edit 1.Room.lck"
  chmod 000 "net/Alpha/Edit 1.Room.lck"
  ask_unprivileged room check "Edit 1" --json
  expect_code 3
  [ "$(jq -c '[.state, .enter, .trash]' data)" = '["unknown",null,null]' ]
  expect_words "whether somebody since"
  ask_unprivileged locks wait "Edit 1" --for 0
  expect_code 3
  expect_words "cannot be told"
}

@test "a room leads nowhere but into the space" {
  share
  for name in "" . .. ../Beta/x /etc/x x/; do
    for command in "room check" "locks wait"; do
      ask $command "$name"
      expect_code 2
      expect_words "is no room in $PWD/net/Alpha/"
    done
  done
}

@test "the room of the media is trashed without its lock" {
  share
  start_machine ann ann
  tell ann "enter Alpha"
  tell ann "room CARDVT.Room"
  ask room check CARDVT --json
  expect_code 5
  [ "$(jq -c '[.enter, .trash]' data)" = '[false,true]' ]
}

@test "project list and project who name the holder" {
  share
  start_machine bob bob
  tell bob "enter Alpha"
  tell bob "lock-project P0001000"
  mkdir net/Alpha/P0002000 net/Alpha/NoProject
  local at
  at=$(since net/Alpha/P0001000/Lock)
  ask project list
  expect_code 0
  expect_data "P0001000	live	bob	$at" "P0002000	free	-	-"
  ask project who P0001000
  expect_code 0
  expect_data "P0001000	live	bob	$at"
  ask project who P0001000 --json
  [ "$(jq -c . data)" = "{\"schema\":\"miscdisc.project/1\",\"space\":\"$PWD/net/Alpha/\",\"name\":\"P0001000\",\"path\":\"$PWD/net/Alpha/P0001000\",\"state\":\"live\",\"owner\":\"bob\",\"since\":\"$at\"}" ]
  ask project who P0002000
  expect_code 0
  expect_data "P0002000	free	-	-"
  expect_words "nobody has project P0002000 open"
  crash_machine bob
  ask project who P0001000
  expect_code 0
  expect_data "P0001000	stale	bob	$at"
  expect_words "its lock file is a leftover of bob since $at"
  ask project who P0003000
  expect_code 4
  expect_words "there is no project P0003000 in $PWD/net/Alpha/"
  for name in "" NoProject P1 ../P0001000; do
    ask project who "$name"
    expect_code 2
  done
}

@test "a folder that may not be read is a hole in what is known" {
  share
  chmod 000 net/Alpha/P0001000
  for command in "locks list" "project who P0001000" "room list"; do
    ask_unprivileged $command
    expect_code 3
    expect_words "$PWD/net/Alpha/P0001000 could not be read (Permission denied)"
  done
  chmod 755 net/Alpha/P0001000
  : >net/Alpha/P0001000/Lock
  chmod 444 net/Alpha/P0001000
  ask_unprivileged locks list
  chmod 755 net/Alpha/P0001000
  expect_code 3
  expect_words "$PWD/net/Alpha/P0001000/Lock could not be looked at"
}

@test "locks list is empty on a first start, and says it when the local space is away" {
  ask locks list --json
  expect_code 0
  [ "$(jq -c . data)" = "{\"schema\":\"miscdisc.locks/1\",\"space\":\"$MISCDISC_HOME/projects/\",\"locks\":[]}" ]
  miscdisc -q config set --section Folders "local projects" "$PWD/away/"
  ask locks list --json
  expect_code 4
  [ "$(jq -c .locks data)" = null ]
  expect_words "$PWD/away/ is not there.  Mount it, or choose another with \"miscdisc space use FOLDER\""
}

@test "locks wait returns when the holder lets go, whatever it is called" {
  share
  start_machine bob bob
  tell bob "enter Alpha"
  tell bob "room Edit 1.Room"
  tell bob "lock-project P0001000"
  for name in "Edit 1" P0001000 "$PWD/net/Alpha/Edit 1.Room.lck" "$PWD/net/Alpha/P0001000/Lock" \
    "Edit 1.Room.lck" P0001000/Lock; do
    ask locks wait "$name" --for 0
    expect_code 5
    expect_words "miscdisc: $name is still held by bob since"
    expect_words "Ask whoever holds it to leave, or wait longer: --for gives the seconds"
  done
  ask locks wait P0001000 --for 0.1 --json
  expect_code 5
  [ "$(jq -c '[.schema, .path, .state, .owner]' data)" = "[\"miscdisc.wait/1\",\"$PWD/net/Alpha/P0001000/Lock\",\"live\",\"bob\"]" ]
  miscdisc --timeout 60 locks wait "Edit 1" 3>&- &
  local room=$!
  miscdisc --timeout 60 locks wait P0001000 --for 60 3>&- &
  local project=$!
  tell bob "unlock-project"
  wait $project
  kill -0 $room
  tell bob "leave-room"
  wait $room
  ask locks wait "Edit 1"
  expect_code 0
}

@test "a crash ends the wait, and an interrupt does" {
  share
  start_machine bob bob
  tell bob "enter Alpha"
  tell bob "room Edit 1.Room"
  env --default-signal=INT "$MISCDISC_COMMAND" --timeout 60 locks wait "Edit 1" 3>&- &
  local interrupted=$!
  miscdisc --timeout 60 locks wait "Edit 1" 2>words 3>&- &
  local waiting=$!
  ask locks wait "Edit 1" --for 0.3
  expect_code 5
  kill -INT $interrupted
  code=0
  wait $interrupted || code=$?
  [ "$code" -eq 130 ]
  crash_machine bob
  wait $waiting
  ask locks wait "Edit 1"
  expect_code 0
  expect_words "the lock of Edit 1 is a leftover: nobody holds it"
}

@test "how long is waited is a number of seconds" {
  share
  for wrong in -1 x nan inf; do
    ask locks wait P0001000 --for "$wrong"
    expect_code 2
  done
}

@test "the project that means none is refused" {
  share
  for command in "locks wait" "project who"; do
    ask $command I0001000
    expect_code 2
    expect_words '"I0001000" is no project'
  done
}

@test "locks wait knows a folder that is not there from one without the lock" {
  share
  ask locks wait P0001000
  expect_code 0
  ask locks wait P0003000
  expect_code 4
  expect_words "$PWD/net/Alpha/P0003000/Lock cannot be a lock: its folder is not there."
}

@test "nothing is looked at while the configuration cannot be used" {
  share
  printf 'volumes = 1\n' >"$MISCDISC_HOME/config.toml"
  for command in "lobby list" "lobby show" "room list" "room check x" "project list" \
    "project who P0001000" "locks list" "locks wait x"; do
    ask $command
    expect_code 2
    expect_words "config.toml:1:11: volumes is a section: [volumes] was expected"
    [ ! -s data ]
  done
}
