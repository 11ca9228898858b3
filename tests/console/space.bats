# Where projects are kept.
load setup
load lobby

@test "space show says where projects are kept, locally and in a lobby" {
  ask space show
  expect_code 0
  expect_data "mode	local" "projects base directory	$MISCDISC_HOME/projects/" \
    "local projects	$MISCDISC_HOME/projects/" "default local projects	$MISCDISC_HOME/projects/" \
    "network projects root	$MISCDISC_HOME/network/projects/" \
    "network material root	$MISCDISC_HOME/network/material/" "lobby	-" "last lobby	-"
  share
  ask space show --json
  [ "$(jq -c . data)" = "{\"schema\":\"miscdisc.space/1\",\"network_mode\":true,\"base\":\"$PWD/net/Alpha/\",\"local\":\"$MISCDISC_HOME/projects/\",\"default\":\"$MISCDISC_HOME/projects/\",\"network_projects\":\"$PWD/net\",\"network_material\":\"$MISCDISC_HOME/network/material/\",\"lobby\":\"Alpha\",\"last_lobby\":null}" ]
  miscdisc -q lobby use --local
  ask space show --json
  [ "$(jq -c '[.network_mode, .lobby, .last_lobby]' data)" = '[false,null,"Alpha"]' ]
}

@test "space create makes the folder, its projects and copies of the default lists" {
  mkdir -p "$MISCDISC_HOME/projects"
  printf '/mnt/a/\n' >"$MISCDISC_HOME/projects/DefNetDrive.txt"
  ask space create new --dry-run
  expect_code 0
  [ ! -e new ]
  sed 's/would make/made/' data >planned
  ask space create new
  expect_code 0
  expect_data "made $PWD/new/" "made $PWD/new/P0001000" "made $PWD/new/G0001000" "made $PWD/new/DefNetDrive.txt"
  diff planned data
  [ -d new/P0001000 ]
  [ -d new/G0001000 ]
  [ "$(cat new/DefNetDrive.txt)" = /mnt/a/ ]
  [ ! -e new/UnmountedDrives.txt ]
  # It is not the one that is used.
  ask space show --json
  [ "$(jq -r .local data)" = "$MISCDISC_HOME/projects/" ]
  printf 'mine' >new/DefNetDrive.txt
  rmdir new/G0001000
  ask space create new/ --json
  expect_code 0
  [ "$(jq -c '[.changes[].path]' data)" = "[\"$PWD/new/G0001000\"]" ]
  [ "$(cat new/DefNetDrive.txt)" = mine ]
  ask space create new
  expect_code 0
  expect_words "$PWD/new/ is a project space already"
}

@test "space create says what is in its way" {
  : >file
  mkdir closed
  ask space create no/such
  expect_code 4
  expect_words "there is no folder $PWD/no/"
  ask space create file
  expect_code 1
  expect_words "$PWD/file/ cannot be a project space: Not a directory"
  ask space create ""
  expect_code 2
  chmod 555 closed
  for folder in closed closed/new; do
    ask_unprivileged space create $folder
    expect_code 1
    expect_words "could not be written: nothing can be written in "
    [ ! -s data ]
  done
}

@test "space use chooses the local space for the next program on" {
  mkdir new
  ask space use new --dry-run
  expect_code 0
  expect_data "would set $PWD/new/ (in $MISCDISC_HOME/state.toml)"
  [ ! -e "$MISCDISC_HOME/state.toml" ]
  ask space use new
  expect_code 0
  expect_data "set $PWD/new/ (in $MISCDISC_HOME/state.toml)"
  ask space show --json
  [ "$(jq -c '[.local, .base]' data)" = "[\"$PWD/new/\",\"$PWD/new/\"]" ]
  ask space use --default
  expect_code 0
  ask space show --json
  [ "$(jq -r .local data)" = "$MISCDISC_HOME/projects/" ]
}

@test "space use refuses a folder in which no program could work" {
  mkdir closed
  chmod 000 closed
  : >file
  ask space use nope
  expect_code 4
  expect_words "$PWD/nope/ is not there.  Make it with \"miscdisc space create\""
  ask space use file
  expect_code 1
  expect_words "Not a directory"
  ask_unprivileged space use closed
  expect_code 1
  expect_words "$PWD/closed/ cannot be the project space: Permission denied"
  for arguments in "" "file --default"; do
    ask space use $arguments
    expect_code 2
  done
  [ ! -e "$MISCDISC_HOME/state.toml" ]
}

@test "a lobby is not taken for a local space" {
  share
  ln -s net other
  for folder in net/Beta other/Beta; do
    ask space use $folder
    expect_code 1
    expect_words "is the lobby Beta, in which nobody works without a login.  Choose it with \"miscdisc lobby use Beta\""
  done
  ask space use net/Folder
  expect_code 0
}

@test "with a lobby configured space use logs nobody in, and says when it counts" {
  share
  mkdir new
  share_snapshot >before
  ask space use new
  expect_code 0
  expect_words "this machine works in the lobby Alpha: the folder counts once it works locally"
  share_snapshot | diff before -
}

@test "a folder that does not answer is neither made nor chosen" {
  mkdir hung
  hang_on hung
  for command in "create hung/new" "use hung/Material"; do
    ask_hanging --timeout 0.5 space $command
    expect_code 3
    expect_words "is not answering"
  done
}

@test "nothing is shown or changed while the configuration cannot be used" {
  printf 'volumes = 1\n' >"$MISCDISC_HOME/config.toml"
  for command in "show" "create new" "use ." "use --default"; do
    ask space $command
    expect_code 2
  done
  [ ! -e new ]
  [ ! -e "$MISCDISC_HOME/state.toml" ]
}

@test "what is empty is said, with what to do next" {
  ask lobby list
  expect_code 0
  [ ! -s data ]
  grep -qx 'miscdisc: no lobbies in .*/network/projects/*: mount it if there should be some, or make one with "miscdisc lobby create NAME"' words
  for what in "room list" "project list" "locks list"; do
    ask $what
    expect_code 0
    [ ! -s data ]
    expect_words "no ${what%% *}"
    expect_words "this machine works locally, in $MISCDISC_HOME/projects/.  \"miscdisc lobby use\" chooses a lobby"
    ask $what --json
    [ ! -s words ]
    ask $what -q
    [ ! -s words ]
  done
  ask room check "Edit 1"
  expect_words 'no room Edit 1: this machine works locally, in '
  mkdir -p "$MISCDISC_HOME/projects"
  ask room check "Edit 1"
  expect_code 4
  expect_words 'no room Edit 1: this machine works locally, in '
  ask drives task
  expect_words 'no task has a drive of its own'
  ask drives unhide
  expect_words 'no volume is hidden here: "miscdisc drives remove DRIVE" hides one'
  share
  ask locks list
  expect_words "no locks in $PWD/net/Alpha/: nobody holds a room or a project"
  MISCDISC_LOBBY=Beta ask room list
  expect_code 0
  expect_words "no rooms in $PWD/net/Beta/: the program in which people edit makes them"
}

@test "a lobby of the environment that is none is said as one that is named" {
  share
  MISCDISC_LOBBY=Alpa ask room list
  expect_code 4
  expect_words "there is no lobby Alpa: $PWD/net/Alpa/ is not there.  Mount what is missing there, or choose another.  MISCDISC_LOBBY names it.  \"miscdisc lobby list\" shows which there are"
  ask lobby show Alpa
  expect_code 4
  expect_words "there is no lobby Alpa: $PWD/net/Alpa/ is not there.  Mount what is missing there, or choose another.  \"miscdisc lobby list\" shows which there are"
}

on_screen() { # ARGUMENT...: what a person at a terminal sees
  local words
  printf -v words '%q ' "$MISCDISC_COMMAND" --timeout 60 "$@"
  NO_COLOR=1 TZ=XXX-5:30 script -qec "$words" /dev/null </dev/null >screen
}

@test "for people times are local, with the day unless it is today; a pipe gets UTC" {
  share
  : >net/Alpha/cat.cli
  touch -d '2026-01-02T03:04:05Z' net/Alpha/cat.cli
  on_screen lobby show
  grep -qE '^cat +stale +2026-01-02 08:34 +no' screen || { cat screen; return 1; }
  TZ=XXX-5:30 ask lobby show
  grep -qx 'person	cat	stale	2026-01-02T03:04:05Z	no' data
  on_screen lobby list
  grep -qE '^LOBBY +IN IT +LOGINS +CURRENT +PATH' screen
  logged_in_today() {
    touch net/Alpha/cat.cli
    on_screen lobby show
    grep -qE '^cat +stale +[0-2][0-9]:[0-5][0-9] +no' screen
  }
  eventually logged_in_today || { cat screen; return 1; }
}
