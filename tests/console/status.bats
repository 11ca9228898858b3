load setup
load lobby
load machines
load bus

teardown() {
  stop_machines
  end_hanging
  end_bus
}

@test "a first start shows the user's own media folder" {
  ask
  expect_code 0
  grep -qx "home	$MISCDISC_HOME" data
  grep -qx "project space	$MISCDISC_HOME/projects/" data
  grep -qx "network mode	no" data
  grep -qx "lobby	-" data
  grep -qE "^drive	E	$MISCDISC_HOME/media	[0-9]+	[0-9]+	.*	$MISCDISC_HOME/media$" data
  [ ! -s words ]
}

@test "an absent volume is shown, with a warning, and is exit 3" {
  three_volumes
  rm -r f
  ask status
  expect_code 3
  grep -qx "drive	F	$PWD/f	-	-	-	-	not present	$PWD/f" data
  grep -q "^warning	drive F is not present: $PWD/f is no folder" data
  ask status --json
  [ "$(jq -c '.drives[1] | [.id, .path, .free, .capacity, .state]' data)" = "[\"F\",\"$PWD/f\",null,null,\"not present\"]" ]
  [ "$(jq -r '.schema' data)" = miscdisc.status/1 ]
  [ "$(jq '.drives[0].free <= .drives[0].capacity' data)" = true ]
}

@test "a configured lobby is where the command works" {
  mkdir -p net/Alpha
  touch net/Alpha/DefNetDrive.txt
  miscdisc -q config set "network project root" "$PWD/net"
  miscdisc -q config set "network lobby name" Alpha
  ask status
  expect_code 0
  grep -qx "project space	$PWD/net/Alpha/" data
  grep -qx "network mode	yes" data
  grep -qx "lobby	Alpha" data
  [ "$(grep -c '^warning' data)" -eq 0 ]
  rm net/Alpha/DefNetDrive.txt
  ask status
  expect_code 3
  grep -q "^warning	the lobby Alpha is not there: $PWD/net/Alpha/ holds no DefNetDrive.txt" data
}

@test "a broken configuration is a warning on the page, and exit 2" {
  printf 'volumes = 1\n' >"$MISCDISC_HOME/config.toml"
  # Without the settings this machine's mounts are volumes, and some may hang.
  code=0
  miscdisc status >data 2>words || code=$?
  expect_code 2
  grep -qx "warning	$MISCDISC_HOME/config.toml:1:11: volumes is a section: \[volumes\] was expected" data
}

@test "commands that read change nothing but the log" {
  three_volumes
  rm -r g
  miscdisc -q config set "network lobby name" Alpha
  miscdisc -q config set "network project root" "$PWD/net"
  mkdir -p net/Alpha
  touch net/Alpha/DefNetDrive.txt net/Alpha/ann.cli "net/Alpha/Edit 1.lck"
  snapshot >snapshot.before
  for command in "" status "status --json" "find A001.mxf nope" "cache stats" "cache validate" \
    "config get x" "config list" "config path" version --help; do
    ask $command
  done
  snapshot | diff snapshot.before -
}

@test "on a first start commands that read make nothing at all" {
  mkdir config
  mv "$MISCDISC_HOME" config/miscdisc
  export XDG_CONFIG_HOME="$PWD/config" XDG_STATE_HOME="$PWD/state" XDG_DATA_HOME="$PWD/data-home"
  unset MISCDISC_HOME
  snapshot >snapshot.before
  for command in status "find x" "cache stats" "cache validate" "config get x" "config list"; do
    ask $command
  done
  rm -f state/miscdisc/miscdisc.log
  [ ! -e state ] || rmdir state/miscdisc state # which the log was made in
  snapshot | diff snapshot.before -
}

@test "version names the command and the library" {
  ask version
  expect_code 0
  expect_data "miscdisc 0.1.0, library 12.0.2.0"
  ask version --json
  [ "$(jq -c . data)" = '{"schema":"miscdisc.version/1","version":"0.1.0","library":"12.0.2.0"}' ]
}

@test "the status page shows people and locks, and says what is left over" {
  share
  start_machine bob bob
  tell bob "enter Alpha"
  tell bob "room Edit 1.Room"
  : >net/Alpha/ann.cli
  : >net/Alpha/P0001000/Lock
  touch -d 2026-01-02T03:04:05Z net/Alpha/*.cli net/Alpha/*.lck net/Alpha/P0001000/Lock
  local at=2026-01-02T03:04:05Z
  ask
  expect_code 0
  diff <(grep -E '^(person|lock)' data) - <<END
person	ann	stale	$at	yes
person	bob	live	$at	no
lock	project	P0001000	stale	-	$at	$PWD/net/Alpha/P0001000/Lock
lock	room	Edit 1	live	bob	$at	$PWD/net/Alpha/Edit 1.Room.lck
END
  grep -q "^warning	ann's login is a leftover: .*miscdisc doctor" data
  grep -q "^warning	the lock of project P0001000 is a leftover: .*miscdisc doctor" data
  ask --json
  [ "$(jq -c '[[.people[] | [.user, .held, .since, .you]], [.locks[] | [.kind, .owner, .state, .since]]]' data)" = "[[[\"ann\",false,\"$at\",true],[\"bob\",true,\"$at\",false]],[[\"project\",null,\"stale\",\"$at\"],[\"room\",\"bob\",\"live\",\"$at\"]]]" ]
}

@test "the status page shows the locks of the local space, too" {
  mkdir -p "$MISCDISC_HOME/projects/P0001000"
  : >"$MISCDISC_HOME/projects/P0001000/Lock"
  ask
  expect_code 0
  grep -q "^lock	project	P0001000	stale	-	" data
  rm -r "$MISCDISC_HOME/projects"
  ask --json
  expect_code 0
  [ "$(jq -c '[.people, .locks, .warnings]' data)" = '[[],[],[]]' ]
}

@test "a lobby or a local space that is away is exit 3, with where to look" {
  share
  mv net away
  ask status
  expect_code 3
  grep -qx "warning	$PWD/net/Alpha/ is not there.  Mount it, or look at \"miscdisc config get 'network project root'\"" data
  mv away net
  miscdisc -q lobby use --local
  mkdir local
  miscdisc -q space use local
  rmdir local
  ask status
  expect_code 3
  grep -qx "warning	$PWD/local/ is not there.  Mount it, or choose another with \"miscdisc space use FOLDER\"" data
}

@test "a lobby that does not answer is said, and who is in it is not known" {
  share
  mkdir hung
  hang_on hung
  miscdisc -q config set "network project root" "$PWD"
  miscdisc -q config set "network lobby name" hung
  ask_hanging status --json
  expect_code 3
  [ "$(jq -c '[.people, .locks]' data)" = '[null,null]' ]
  jq -r '.warnings[]' data | grep -q "^$PWD/hung/ is not answering"
}

@test "the messenger is a line of the page: connected, or why not" {
  two_machines_with_a_drive
  ask status
  expect_code 0
  grep -qx "messenger	dbus: there is no session bus: start this from a desktop or with dbus-run-session, or set .messenger. engine" data
  start_bus
  ask status
  expect_code 0
  grep -qx "messenger	dbus: connected to the session bus" data
  ask status --json
  [ "$(jq -c .messenger data)" = '{"engine":"dbus","connected":true,"state":"connected to the session bus","group":"\\\\nas\\projects\\Alpha","sent":0,"received":0,"waiting":0,"dropped":0,"rescans":0}' ]
  miscdisc -q config set "network lobby name" ""
  ask status
  grep -qx "messenger	dbus: not used: this machine works in no lobby" data
}

@test "a bus that does not answer keeps the page waiting for a moment only" {
  two_machines_with_a_drive
  export DBUS_SESSION_BUS_ADDRESS="unix:path=$PWD/nothing"
  ask status
  expect_code 0
  grep -q "^messenger	dbus: no connection to the session bus" data
}

# The shortest of several times of the page, in milliseconds.
fastest_status() { # TIMEOUT
  local best=1000000 before took
  for _ in 1 2 3 4; do
    before=$(date +%s%N)
    miscdisc --timeout "$1" status >data 2>words || true
    took=$((($(date +%s%N) - before) / 1000000))
    if [ "$took" -lt "$best" ]; then best=$took; fi
  done
  echo "$best"
}

@test "a bus that is silent is waited for no longer than a mount" {
  start_bus
  two_machines_with_a_drive
  kill -STOP "$bus"
  local short long
  short=$(fastest_status 0.001)
  grep -q "^messenger	dbus: not connected yet" data
  long=$(fastest_status 0.25)
  kill -CONT "$bus"
  echo "$short and $long ms"
  [ $((long - short)) -ge 150 ]
}
