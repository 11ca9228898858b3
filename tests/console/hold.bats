# Commands that hold a lobby, a room or a project.
load setup
load machines
load hanging

setup_file() { export BATS_TEST_TIMEOUT=120; }

teardown() {
  end_started
  end_hanging
}

@test "a command runs while the lobby, the room and the project are held" {
  two_machines
  ask with Alpha --room "Edit 1" --project P0001000 -- sh -c \
    'ls -A net/Alpha net/Alpha/P0001000; cat "net/Alpha/Edit 1.Room.lck.inf" net/Alpha/P0001000/Lock.inf; echo " $MISCDISC_LOBBY"'
  expect_code 0
  expect_data net/Alpha: DefNetDrive.txt "Edit 1.Room" "Edit 1.Room.lck" "Edit 1.Room.lck.inf" \
    Mix.Room P0001000 ann.cli "" net/Alpha/P0001000: Lock Lock.inf "annann Alpha"
  expect_nothing_held
}

@test "what follows -- is run as it stands" {
  two_machines
  ask with Alpha -- printf '<%s>' '[a,b]' '{}' '' --json -- with ' x '
  expect_code 0
  [ "$(cat data)" = '<[a,b]><{}><><--json><--><with>< x >' ]
  ask find -- with
  expect_code 4
}

@test "the use of with names what follows --" {
  ask with --help
  expect_code 0
  grep -qxF "Usage: miscdisc with LOBBY [--room R] [--project P] -- COMMAND..." data
}

@test "its exit code is passed on, as by a shell" {
  two_machines
  touch plain
  for expected in 0 3 255; do
    ask with Alpha -- sh -c "exit $expected"
    expect_code $expected
  done
  ask with Alpha -- sh -c 'kill -KILL $$'
  expect_code 137
  ask with Alpha -- nosuchprogram
  expect_code 127
  expect_words "nosuchprogram: No such file or directory"
  ask with Alpha -- ./plain
  expect_code 126
  expect_words "./plain: Permission denied"
  expect_nothing_held
}

@test "its output, input, signals and other files are those of whoever started us" {
  two_machines
  ask with Alpha -- sh -c 'echo data; echo words >&2; cat' < <(echo input)
  expect_data data input
  [ "$(cat words)" = words ]
  ask with Alpha -- sh -c 'grep -E "^Sig(Blk|Ign)" /proc/self/status; ls /proc/self/fd | wc -l'
  sh -c 'grep -E "^Sig(Blk|Ign)" /proc/self/status; ls /proc/self/fd | wc -l' >direct 2>/dev/null
  diff direct data
  ask with Alpha -- sh -c 'read line <&7 && echo "$line"' 7< <(echo seven)
  expect_data seven
}

@test "the command works in the lobby that is held around it, and the configuration stays" {
  two_machines
  mkdir net/Beta
  touch net/Beta/DefNetDrive.txt net/Beta/Mix.Room
  miscdisc -q config set "network lobby name" Beta
  cp "$MISCDISC_HOME/state.toml" before
  ask with Alpha --room Mix -- "$MISCDISC_COMMAND" --timeout 60 status
  expect_code 0
  grep -qx "lobby	Alpha" data
  grep -qx "project space	$PWD/net/Alpha/" data
  MISCDISC_LOBBY= ask status
  grep -qx "lobby	-" data
  MISCDISC_LOBBY=a/b ask status
  expect_code 2
  expect_words "It is in the environment variable MISCDISC_LOBBY"
  start_holding own hold --room Mix
  [ -e net/Beta/ann.cli ]
  end_with TERM "$last"
  cmp before "$MISCDISC_HOME/state.toml"
  [ "$(find "$MISCDISC_HOME" -type f ! -name miscdisc.log ! -name '.state.toml.lk' | sort)" = \
    "$MISCDISC_HOME/config.toml"$'\n'"$MISCDISC_HOME/state.toml" ]
}

@test "hold says what it holds, and lets go at HUP, INT and TERM" {
  two_machines
  local signal expected
  for signal in HUP:129 INT:130 TERM:143; do
    start_holding ann hold Alpha --room "Edit 1" --project P0001000
    [ "$(cat ann.data)" = "holding lobby Alpha, room Edit 1, project P0001000" ]
    [ -e "net/Alpha/Edit 1.Room.lck" ]
    end_with "${signal%:*}" "$last"
    expect_code "${signal#*:}"
    expect_nothing_held
  done
  start json --json hold Alpha --room Mix
  eventually grep -q '^}' json.data
  [ "$(jq -c . json.data)" = '{"schema":"miscdisc.hold/1","user":"ann","lobby":"Alpha","room":"Mix","project":null}' ]
  end_with TERM "$last"
}

@test "signals that whoever started us wants ignored stay ignored" {
  two_machines
  : >ann.data
  (trap '' HUP; exec "$MISCDISC_COMMAND" --timeout 60 hold Alpha) >ann.data 2>&1 3>&- &
  last=$!
  started+=("$last")
  eventually grep -q holding ann.data
  kill -HUP "$last"
  end_with TERM "$last"
  expect_code 143
}

@test "HUP, INT and TERM reach the command, and everything is let go when it has ended" {
  two_machines
  local signal
  for signal in HUP INT TERM; do
    start ann with Alpha --room Mix -- sh -c "trap 'echo got $signal; exit 9' $signal; echo ready; while :; do sleep 0.05; done"
    eventually grep -q ready ann.data
    end_with $signal "$last"
    expect_code 9
    grep -qx "got $signal" ann.data
    expect_nothing_held
  done
}

@test "another program's file is neither taken for a lock or a login, nor removed" {
  two_machines
  echo mine >net/Alpha/ann.cli
  ask with Alpha -- touch ran
  expect_code 6
  expect_words "$PWD/net/Alpha/ann.cli is there, made by another program"
  [ "$(cat net/Alpha/ann.cli)" = mine ]
  rm net/Alpha/ann.cli
  echo mine >net/Alpha/Mix.Room.lck
  mkfifo net/Alpha/P0001000/Lock.inf
  ask with Alpha --room Mix -- touch ran
  expect_code 1
  expect_words "room Mix is not entered: $PWD/net/Alpha/Mix.Room.lck is there, made by another program"
  ask with Alpha --project P0001000 -- touch ran
  expect_code 1
  expect_words "project P0001000 is not opened: $PWD/net/Alpha/P0001000/Lock.inf is there"
  [ "$(cat net/Alpha/Mix.Room.lck)" = mine ]
  [ -p net/Alpha/P0001000/Lock.inf ]
  [ ! -e ran ]
}

@test "a room or project that somebody else holds is 5, with who and since when" {
  two_machines
  as_bob start_holding bob hold Alpha --room Mix --project P0001000
  local since
  since=$(TZ=UTC date -r net/Alpha/Mix.Room.lck +%Y-%m-%dT%H:%M:%SZ)
  ask with Alpha --room Mix -- touch ran
  expect_code 5
  expect_words "room Mix is held by bob since $since."
  ask with Alpha --project P0001000 -- touch ran
  expect_code 5
  expect_words "project P0001000 is held by bob since "
  [ ! -e ran ]
  [ ! -e net/Alpha/ann.cli ]
  ask with Alpha --room "Edit 1" -- true
  expect_code 0
  end_with TERM "$last"
  expect_nothing_held
}

@test "a lock whose file was deleted by hand is held all the same, and that is said" {
  two_machines
  touch net/Alpha/.lockspace net/Alpha/P0001000/.lockspace
  as_bob start_holding bob hold Alpha --room "Edit 1" --project P0001000
  rm "net/Alpha/Edit 1.Room.lck" net/Alpha/P0001000/Lock
  ask with Alpha --room "Edit 1" -- touch ran
  expect_code 5
  expect_words "somebody holds room Edit 1, though its lock file $PWD/net/Alpha/Edit 1.Room.lck is gone; last named: bob.  It is free when he leaves it"
  rm net/Alpha/P0001000/Lock.inf
  ask with Alpha --project P0001000 -- touch ran
  expect_code 5
  expect_words "somebody holds project P0001000, though its lock file $PWD/net/Alpha/P0001000/Lock is gone.  It is"
  [ ! -e ran ]
  end_with TERM "$last"
  ask with Alpha --room "Edit 1" --project P0001000 -- touch ran
  expect_code 0
}

@test "two holders of one user are logged in together, and share no room" {
  two_machines
  start_holding first hold Alpha --room Mix
  local first=$last
  start_holding second hold Alpha --room "Edit 1"
  ask hold Alpha --room Mix
  expect_code 5
  expect_words "room Mix is held by ann since "
  end_with TERM "$first"
  [ -e net/Alpha/ann.cli ]
  [ ! -e net/Alpha/Mix.Room.lck ]
  end_with TERM "$last"
  expect_nothing_held
}

@test "what is not there is 4, and what cannot be a name is 2" {
  two_machines
  mkdir net/Folder
  for arguments in "with Nope" "with Folder" "with Alpha --room no/room" "with Alpha --project P0009999"; do
    ask $arguments -- touch ran
    expect_code 4
  done
  for name in "" . .. a/b; do
    ask with "$name" -- touch ran
    expect_code 2
  done
  for arguments in "--room Cut" "--project P0001000"; do
    ask hold $arguments
    expect_code 4
    expect_words "$MISCDISC_HOME/projects/ is not there yet"
    [ ! -e "$MISCDISC_HOME/projects" ]
  done
  ask with Alpha --room ../x -- touch ran
  expect_code 2
  ask with Alpha --project Alpha -- touch ran
  expect_code 2
  for arguments in with "with Alpha" "with Alpha touch ran" "--dry-run with Alpha -- touch ran" hold; do
    ask $arguments
    expect_code 2
  done
  [ ! -e ran ]
  expect_nothing_held
}

@test "a mistyped room is not found, and nothing is run" {
  two_machines
  mkdir net/Alpha/Reel
  : >net/Alpha/Reel/Grade.Room
  ask with Alpha --room "edit 1" -- touch ran
  expect_code 4
  expect_words 'there is no room "edit 1" in Alpha; did you mean "Edit 1"?'
  expect_words "--yes takes one that is not made yet"
  ask hold Alpha --room Grade
  expect_code 4
  expect_words 'there is no room "Grade" in Alpha; did you mean "Reel/Grade"?'
  miscdisc -q config set "network lobby name" Alpha
  ask room go grade
  expect_code 4
  ask shell < <(echo 'room go Mxi')
  expect_code 4
  expect_words 'there is no room "Mxi" in Alpha.'
  [ ! -e ran ]
  expect_nothing_held
  ask --yes with Alpha --room Mxi -- touch ran
  expect_code 0
  expect_words "there is no $PWD/net/Alpha/Mxi.Room; its lock is $PWD/net/Alpha/Mxi.lck"
  [ -e ran ]
}

@test "a room is one, whether its holder began before its file was made or after" {
  two_machines
  as_bob start_holding bob --yes hold Alpha --room New
  grep -qF "there is no $PWD/net/Alpha/New.Room; its lock is $PWD/net/Alpha/New.lck" bob.words
  : >net/Alpha/New.Room
  ask with Alpha --room New -- touch ran
  expect_code 5
  expect_words "room New is held by bob since"
  expect_words "$PWD/net/Alpha/New.lck is a lock of the same room"
  [ ! -e ran ]
  end_with KILL "$last"
  as_bob start_holding bob hold Alpha --room New
  [ -e net/Alpha/New.Room.lck ]
  expect_none "there is no" bob.words
  rm net/Alpha/New.Room net/Alpha/New.lck
  ask with Alpha --room "$PWD/net/Alpha/New" -- touch ran
  expect_code 5
  [ ! -e ran ]
}

@test "a room whose other spelling is taken at the same time is let go again" {
  two_machines
  local spaces="$MISCDISC_HOME/projects"
  mkdir "$spaces"
  LD_PRELOAD="$PRETENDED_LOCKS_LIBRARY" PRETENDED_LOCKS="before 1" start early --yes hold --room New
  local early=$last
  eventually is_stopped "$early"
  : >"$spaces/New.Room"
  start_holding late hold --room New
  [ -e "$spaces/New.Room.lck" ]
  kill -CONT "$early"
  code=0
  wait "$early" || code=$?
  expect_code 5
  [ ! -s early.data ]
  grep -qF "room New is held by ann since" early.words
  grep -qF "it came at the same time, so the room was let go again." early.words
  [ ! -e "$spaces/New.lck" ]
  [ -e "$spaces/New.Room.lck" ]
}

@test "what others would not see is not entered" {
  two_machines
  mkdir -p net/Alpha/a/b net/Alpha/.hidden net/Alpha/Media net/Elsewhere/P0005000
  ln -s ../Elsewhere net/Alpha/Link
  ln -s ../Elsewhere/P0005000 net/Alpha/P0005000
  for room in a/b/Cut .hidden/Cut Media/Cut Link/Cut; do
    ask with Alpha --room "$room" -- touch ran
    expect_code 2
    expect_words "room $room is not entered: nobody would see its lock in $PWD/net/Alpha/"
  done
  ask with Alpha --project P0005000 -- touch ran
  expect_code 2
  expect_words "project P0005000 is not entered: nobody would see its lock"
  [ ! -e ran ]
  expect_nothing_held
}

@test "a refused login is 6, and nothing is run" {
  two_machines
  chmod 555 net/Alpha
  ask_unprivileged with Alpha -- touch ran
  chmod 755 net/Alpha
  expect_code 6
  expect_words "the login in lobby Alpha was refused, so nothing is held there: $PWD/net/Alpha/ann.cli: Permission denied."
  expect_words "miscdisc doctor"
  [ ! -e ran ]
  grep -q "could not open $PWD/net/Alpha/ann.cli: Permission denied" "$MISCDISC_HOME/miscdisc.log"
  expect_nothing_held
}

@test "a share without locks is said" {
  two_machines
  touch net/Alpha/.nolocks
  code=0
  LD_PRELOAD="$SICK_SHARE" "$MISCDISC_COMMAND" --timeout 60 hold Alpha >data 2>words || code=$?
  expect_code 6
  expect_words "locks exclude no other machine there."
  expect_words "allow_local_only"
  touch net/Alpha/P0001000/.nolocks
  rm net/Alpha/.nolocks
  code=0
  LD_PRELOAD="$SICK_SHARE" "$MISCDISC_COMMAND" --timeout 60 hold Alpha --project P0001000 >data 2>words || code=$?
  expect_code 1
  expect_words "project P0001000 cannot be held: locks exclude no other machine there."
  [ ! -e net/Alpha/ann.cli ]
}

@test "a login is marked as outside any room unless a room is entered" {
  two_machines
  start_holding ann hold Alpha
  [ "$(mark_of net/Alpha/ann.cli)" = 2 ]
  end_with TERM "$last"
  start_holding ann hold Alpha --room Mix
  [ "$(mark_of net/Alpha/ann.cli)" = 0 ]
  # Nor does a refusal leave it as if in a room.
  as_bob start_holding bob hold Alpha
  as_bob ask hold Alpha --room Mix
  expect_code 5
  [ "$(mark_of net/Alpha/bob.cli)" = 2 ]
}

mark_of() { # FILE: as a user attribute, or as the mode bit where there are none
  python3 - "$1" <<'END'
import os, sys
try:
    print(os.getxattr(sys.argv[1], "user.miscdisc.mark").decode())
except OSError:
    print(2 if os.stat(sys.argv[1]).st_mode & 1 else 0)
END
}

@test "without a lobby rooms and projects of the local space are held, and nobody logs in" {
  two_machines
  mkdir -p "$MISCDISC_HOME/projects/P0001000"
  start_holding ann --yes hold --project P0001000 --room Cut
  [ "$(cat ann.data)" = "holding room Cut, project P0001000" ]
  [ -e "$MISCDISC_HOME/projects/P0001000/Lock" ]
  [ -e "$MISCDISC_HOME/projects/Cut.lck" ]
  [ -z "$(find . -name '*.cli')" ]
  end_with TERM "$last"
  expect_code 143
  [ -z "$(find "$MISCDISC_HOME/projects" -type f)" ]
}

@test "room go holds a room of the configured lobby" {
  two_machines
  miscdisc -q config set "network lobby name" Alpha
  start_holding ann room go Mix
  [ "$(cat ann.data)" = "holding lobby Alpha, room Mix" ]
  end_with INT "$last"
  expect_code 130
  expect_nothing_held
}

@test "a lobby that does not answer is 3, and nothing is run" {
  two_machines
  mkdir net/Hung
  hang_on net/Hung
  for command in "with Hung -- touch ran" "hold Hung"; do
    code=0
    ASAN_OPTIONS=detect_leaks=0 timeout -s KILL 60 "$MISCDISC_COMMAND" --timeout 1 $command >data 2>words || code=$?
    expect_code 3
    expect_words "net/Hung/ is not answering: nothing came from it in 1 s"
  done
  [ ! -e ran ]
}

@test "a share that dies during the login or before the end keeps nobody waiting" {
  two_machines
  mkdir net/Beta
  touch net/Beta/{DefNetDrive.txt,.hangs}
  LD_PRELOAD="$SICK_SHARE" timeout -s KILL 60 "$MISCDISC_COMMAND" with Beta -- touch ran \
    >beta.data 2>beta.words 3>&- &
  local beta=$!
  code=0
  LD_PRELOAD="$SICK_SHARE" timeout -s KILL 60 "$MISCDISC_COMMAND" --timeout 5 with Alpha -- \
    sh -c 'touch net/Alpha/.hangs; exit 9' >data 2>words || code=$?
  expect_code 9
  expect_words "$PWD/net/Alpha/ has stopped answering."
  rm net/Alpha/.hangs
  as_bob ask with Alpha -- true
  expect_code 0
  code=0
  wait "$beta" || code=$?
  expect_code 3
  grep -qF "$PWD/net/Beta/ has stopped answering." beta.words
  [ ! -e ran ]
  rm net/Beta/.hangs
}
