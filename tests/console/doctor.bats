# What dead machines leave, and traps in how this one is set up.
load setup
load lobby

# Column COLUMN of the data, in a line.
column() { cut -f"$1" data | paste -sd' '; }

expect_findings() { # KIND PATH...: of the data, in its order
  diff <(printf '%s\t%s\n' "$@") <(cut -f1,2 data)
}

# bob logs in, enters a room and opens a project, in Alpha.
enter_all() { # NAME
  tell "$1" "enter Alpha"
  tell "$1" "room Edit 1.Room"
  tell "$1" "lock-project P0001000"
}

# All of that, and then his machine dies.
leave_all() {
  start_machine bob bob
  enter_all bob
  crash_machine bob
}

left=(net/Alpha/{"Edit 1.Room.lck","Edit 1.Room.lck.inf",P0001000/Lock,P0001000/Lock.inf,bob.cli})

expect_gone() {
  local file
  for file in "${left[@]}"; do [ ! -e "$file" ] || { echo "there: $file"; return 1; }; done
}

expect_unchanged() { diff before <(share_snapshot); }

# In the background, stopped at a lock; its number is in $doctor.
doctor_stopped_at() { # WHEN ARGUMENT...
  LD_PRELOAD="$PRETENDED_LOCKS_LIBRARY" PRETENDED_LOCKS=$1 \
    "$MISCDISC_COMMAND" --timeout 60 "${@:2}" >data 2>words 3>&- &
  doctor=$!
  eventually is_stopped "$doctor"
}

go_on() {
  kill -CONT "$doctor"
  code=0
  wait "$doctor" || code=$?
}

@test "what a dead machine left is found, and fixed when that is asked for" {
  share
  leave_all
  share_snapshot >before
  ask doctor
  expect_code 10
  expect_findings stale-room-lock "$PWD/net/Alpha/Edit 1.Room.lck" \
    stale-project-lock "$PWD/net/Alpha/P0001000/Lock" stale-login "$PWD/net/Alpha/bob.cli"
  [ "$(column 3)" = "fixable fixable fixable" ]
  [ "$(sed -n 1p data | cut -f4)" = \
    "the lock of room Edit 1, by bob since $(since "net/Alpha/Edit 1.Room.lck"), is held by nobody" ]
  [ "$(sed -n 3p data | cut -f4)" = \
    "the login of bob, of $(since net/Alpha/bob.cli), is held by nobody" ]
  expect_words "3 findings; to be fixed by: miscdisc doctor --fix."
  ask doctor --fix --dry-run
  expect_code 10
  [ "$(column 3)" = "would fix would fix would fix" ]
  expect_unchanged

  ask doctor --fix
  expect_code 0
  [ "$(column 3)" = "fixed fixed fixed" ]
  expect_words "will remove the file: $PWD/net/Alpha/bob.cli"
  expect_words "3 findings, 3 fixed."
  expect_gone
  ask doctor
  expect_code 0
  [ ! -s data ]
  expect_words "nothing is wrong."
  start_machine next bob
  enter_all next
}

@test "the document says what was found, and what became of it" {
  share
  leave_all
  rm "net/Alpha/Edit 1.Room.lck"* net/Alpha/P0001000/Lock*
  ask doctor --json
  expect_code 10
  [ "$(jq -r '.schema' data)" = miscdisc.doctor/1 ]
  [ "$(jq -c '.findings[0] | [.kind, .path, .fixable, .fixed]' data)" = \
    "[\"stale-login\",\"$PWD/net/Alpha/bob.cli\",true,null]" ]
  [ "$(jq -c '[(.findings | length), .not_looked_at]' data)" = '[1,[]]' ]
  ask doctor --fix --json
  expect_code 0
  [ "$(jq -c '.findings[0] | [.fixable, .fixed]' data)" = '[true,true]' ]
}

@test "what is held is no finding and is left alone, whoever holds it" {
  share
  start_machine bob bob
  enter_all bob
  start_machine ann ann
  tell ann "enter Alpha"
  start_machine ann2 ann
  tell ann2 "enter Alpha"
  share_snapshot >before
  ask doctor --fix
  expect_code 0
  [ ! -s data ]
  expect_unchanged

  : >net/Alpha/eve.cli
  ask doctor --fix
  expect_code 0
  expect_findings stale-login "$PWD/net/Alpha/eve.cli"
  [ ! -e net/Alpha/eve.cli ]
  for file in "Edit 1.Room.lck" P0001000/Lock bob.cli ann.cli; do
    tell ann "state $PWD/net/Alpha/$file" held
  done
  tell bob "room-owner Edit 1.Room" bob
  tell bob "leave-room"
  tell bob "unlock-project"
}

@test "a lock that is taken before its turn to be fixed comes is left" {
  share
  leave_all
  rm net/Alpha/bob.cli net/Alpha/P0001000/Lock*
  start_machine eve eve
  doctor_stopped_at "before 1" doctor --fix
  tell eve "enter Alpha"
  tell eve "room Edit 1.Room"
  share_snapshot >before
  go_on
  expect_code 10
  [ "$(column 3)" = left ]
  [ "$(cut -f4 data)" = "was not fixed: somebody took it meanwhile, so it was left" ]
  expect_unchanged
  tell eve "room-owner Edit 1.Room" eve
}

@test "a lock that is taken while it is being removed is left with its holder's name" {
  share
  leave_all
  rm net/Alpha/bob.cli net/Alpha/P0001000/Lock*
  start_machine eve eve
  doctor_stopped_at "before 2" doctor --fix
  tell eve "enter Alpha"
  tell eve "room Edit 1.Room"
  share_snapshot >before
  go_on
  expect_code 10
  [ "$(column 3)" = left ]
  expect_unchanged
  tell eve "room-owner Edit 1.Room" eve
  tell eve "state $PWD/net/Alpha/Edit 1.Room.lck" held
}

@test "a login that comes back before its turn is left" {
  share
  : >net/Alpha/bob.cli
  doctor_stopped_at "before 1" doctor --fix
  start_machine bob bob
  tell bob "enter Alpha"
  go_on
  expect_code 10
  [ "$(column 3)" = left ]
  tell bob "state $PWD/net/Alpha/bob.cli" held
}

@test "what cannot be told is said, and left" {
  share
  leave_all
  chmod 000 net/Alpha/bob.cli
  ask_unprivileged doctor --fix
  expect_code 10
  grep "^unknown-holder	$PWD/net/Alpha/bob.cli	-	" data
  grep -qF "whether anybody holds the login of bob" data
  grep -qF "is not known: Permission denied.  Look at it with ls -l" data
  [ -f net/Alpha/bob.cli ]
}

@test "on a mount that keeps locks to itself nobody can tell" {
  share
  rm -r net/Alpha
  mkdir net/Alpha
  mount_on net/Alpha DefNetDrive.txt bob.cli "Edit 1.Room.lck"
  ask_hanging doctor --fix
  expect_code 10
  expect_findings no-locks "$PWD/net/Alpha/" unknown-holder "$PWD/net/Alpha/Edit 1.Room.lck" \
    unknown-holder "$PWD/net/Alpha/bob.cli"
  [ "$(column 3)" = "- - -" ]
  grep -qF "its mount keeps locks to itself: fuse" data
  grep -qF "So nobody can log in or lock anything here." data

  printf '[locks]\nallow_local_only = true\n' >>"$MISCDISC_HOME/config.toml"
  ask_hanging doctor
  expect_code 10
  grep -q "^locks-exclude-nobody	$PWD/net/Alpha/	-	.*other machines take the same ones" data
}

@test "names at which no file can be made are said, and left" {
  share
  echo precious >outside
  ln -s "$PWD/outside" net/Alpha/bob.cli
  mkdir net/Alpha/eve.cli
  mkfifo net/Alpha/Mix.lck
  ln -s "$PWD/outside" net/Alpha/P0001000/Lock
  mkdir net/Alpha/.lockspace
  ln -s nowhere net/Alpha/Old.lck
  ln -s "$PWD/outside" net/Alpha/Gone.lck.inf
  share_snapshot >before
  ask doctor --fix
  expect_code 10
  local kind=blocked-name at="$PWD/net/Alpha"
  expect_findings $kind "$at/.lockspace" $kind "$at/Gone.lck.inf" $kind "$at/Mix.lck" \
    $kind "$at/Old.lck" $kind "$at/P0001000/Lock" $kind "$at/bob.cli" $kind "$at/eve.cli"
  [ "$(cut -f3 data | sort -u)" = - ]
  expect_unchanged
  [ "$(cat outside)" = precious ]
}

@test "a file of another program is left, however it is named" {
  share
  echo words >net/Alpha/Report.lck
  : >net/Alpha/OLD.CLI
  share_snapshot >before
  ask doctor --fix
  expect_code 10
  expect_findings foreign-file "$PWD/net/Alpha/OLD.CLI" foreign-file "$PWD/net/Alpha/Report.lck"
  ask lobby show
  expect_words "$PWD/net/Alpha/OLD.CLI is named like a lock or login, but was made by another program"
  expect_words "$PWD/net/Alpha/Report.lck is named like a lock or login"
  expect_none doctor words
  expect_unchanged

  : >net/Alpha/Cut.lck
  seq 1000 >net/Alpha/Cut.lck.inf
  ask doctor --fix
  expect_code 10
  grep -qF "was not fixed: $PWD/net/Alpha/Cut.lck.inf beside it names nobody." data
  [ -f net/Alpha/Cut.lck ]
  [ "$(wc -l <net/Alpha/Cut.lck.inf)" -eq 1000 ]
}

@test "a name without its lock goes" {
  share
  printf bob >net/Alpha/P0001000/Lock.inf
  printf bob >net/Alpha/Cut.lck.inf
  ask doctor --fix
  expect_code 0
  expect_findings lost-information "$PWD/net/Alpha/Cut.lck.inf" \
    lost-information "$PWD/net/Alpha/P0001000/Lock.inf"
  [ -z "$(find net/Alpha -name '*.inf' -o -name '*.lck' -o -name Lock)" ]
}

@test "what a save left goes when it is old and nobody saves" {
  share
  local at="$PWD/net/Alpha"
  touch "$at/.DefNetDrive.txt.lk" "$at/.DefNetDrive.txt.1.tmp" "$at/.UnmountedDrives.txt.2.tmp"
  touch "$at/.other.lk" "$at/.other.1.tmp"
  ask doctor --fix
  expect_code 0
  [ ! -s data ]
  touch -d '2 hours ago' "$at"/.*.lk "$at"/.*.tmp
  ask doctor --fix
  expect_code 0
  expect_findings stale-temporary "$at/.DefNetDrive.txt.1.tmp" \
    stale-guard "$at/.DefNetDrive.txt.lk" stale-temporary "$at/.UnmountedDrives.txt.2.tmp"
  [ "$(find "$at" -maxdepth 1 -name '.*' -printf '%f\n' | sort | paste -sd' ')" = \
    ".other.1.tmp .other.lk" ]
}

@test "what a save uses is left" {
  share
  local at="$PWD/net/Alpha"
  mkdir c
  doctor_stopped_at "after 1" drives add c
  touch "$at/.DefNetDrive.txt.1.tmp"
  touch -d '2 hours ago' "$at/.DefNetDrive.txt.1.tmp" "$at/.DefNetDrive.txt.lk"
  code=0
  miscdisc --timeout 60 doctor --fix >doctor.data 2>/dev/null || code=$?
  [ "$code" -eq 0 ]
  [ ! -s doctor.data ]
  [ -f "$at/.DefNetDrive.txt.1.tmp" ]
  go_on
  expect_code 0
}

@test "in a sticky folder it says whose file it is, and leaves it as it was" {
  [ "$(id -u)" -eq 0 ] || skip "needs the right to give files away"
  share
  leave_all
  chmod -R a+rwX,+t net/Alpha
  chown -R daemon net/Alpha
  share_snapshot >before
  code=0
  setpriv --inh-caps=-fowner --bounding-set=-fowner \
    "$MISCDISC_COMMAND" --timeout 60 doctor --fix >data 2>words || code=$?
  expect_code 10
  grep -qxF "stale-login	$PWD/net/Alpha/bob.cli	left	was not fixed: $PWD/net/Alpha/bob.cli could not be removed: its folder is sticky, and the file belongs to daemon.  Do this as daemon, as root, or take the bit off the folder with chmod -t" data
  expect_unchanged
  ask doctor --fix
  expect_gone
}

@test "a declared remote folder is fixed the same, and keeps its .lockspace" {
  user_is() { # USER HOME
    mkdir -p "$2"
    printf '[machine]\nuser = "%s"\n[volumes]\ndiscover = false\n[locks]\nremote = ["%s"]\n' \
      "$1" "$PWD/net" >"$2/config.toml"
  }
  share
  leave_all
  stat -c %i net/Alpha/.lockspace >inode
  start_machine eve eve
  tell eve "enter Alpha"
  ask doctor --fix
  expect_code 0
  [ "$(column 3)" = "fixed fixed fixed" ]
  expect_gone
  stat -c %i net/Alpha/.lockspace | cmp inode
  [ "$(stat -c %s net/Alpha/.lockspace)" = 0 ]
  tell eve "room Edit 1.Room"
}

@test "where nothing may be written, it stays, and that is said" {
  share
  leave_all
  touch -d '2 hours ago' net/Alpha/{bob.cli,"Edit 1.Room.lck"}
  chmod 555 net/Alpha
  ask_unprivileged doctor --fix
  chmod 755 net/Alpha
  expect_code 10
  grep "^stale-login	$PWD/net/Alpha/bob.cli	left	was not fixed: $PWD/net/Alpha/bob.cli could not be written: nothing can be written in " data
  local file
  for file in net/Alpha/{bob.cli,"Edit 1.Room.lck"}; do
    [ $(($(date +%s) - $(stat -c %Y "$file"))) -gt 7000 ]
  done
}

@test "a share that does not answer keeps nobody waiting" {
  share
  rm -r net/Alpha
  mkdir net/Alpha
  hang_on net/Alpha
  SECONDS=0
  ask_hanging --timeout 0.25 doctor --fix
  expect_code 3
  [ "$SECONDS" -lt 30 ]
  [ ! -s data ]
  expect_words "$PWD/net/Alpha/ is not answering: nothing came from it in 0.25 s."
  expect_words "not everything could be looked at."
  ask_hanging --timeout 0.25 doctor --json
  expect_code 3
  jq -r '.not_looked_at[]' data | grep -F "$PWD/net/Alpha/ is not answering"

  : >net/Beta/bob.cli
  ask_hanging --timeout 1 doctor --all
  expect_code 10
  expect_findings stale-login "$PWD/net/Beta/bob.cli"
  ask_hanging --timeout 1 doctor --all --fix
  expect_code 3
  [ "$(column 3)" = fixed ]
}

@test "without --fix not a byte changes, here or there" {
  share
  leave_all
  mkdir -p net/Gamma/Media/Material
  printf '%s/\n%s/\n' "$PWD/e" "$PWD/e" >>net/Alpha/DefNetDrive.txt
  share_snapshot >before
  snapshot >snapshot.before
  ask doctor
  expect_code 10
  ask doctor --all
  expect_code 10
  ask doctor --fix --dry-run --all
  expect_code 10
  expect_unchanged
  diff snapshot.before <(snapshot | grep -v ' \./before ')
}

@test "other lobbies are looked at when they are named, or all are" {
  share
  : >net/Alpha/bob.cli
  : >net/Beta/eve.cli
  ask doctor --lobby Beta
  expect_code 10
  expect_findings stale-login "$PWD/net/Beta/eve.cli"
  ask doctor --all
  expect_findings stale-login "$PWD/net/Alpha/bob.cli" stale-login "$PWD/net/Beta/eve.cli"
  [ "$(miscdisc config get "network lobby name")" = Alpha ]
  ask doctor --lobby Nope
  expect_code 4
  expect_words "$PWD/net/Nope/ is not there."
  ask doctor --lobby Folder --fix
  expect_code 4
  expect_words "there is no lobby Folder: $PWD/net/Folder/ holds no DefNetDrive.txt"
  [ -z "$(ls -A net/Folder)" ]
  ask doctor --lobby a/b
  expect_code 2
  ask doctor --lobby Beta --fix
  expect_code 0
  [ -f net/Alpha/bob.cli ]
  [ ! -e net/Beta/eve.cli ]
}

@test "the local space is looked at when no lobby is configured" {
  ask doctor
  expect_code 0
  [ ! -e "$MISCDISC_HOME/projects" ]
  mkdir -p "$MISCDISC_HOME/projects/P0001000"
  : >"$MISCDISC_HOME/projects/P0001000/Lock"
  ask doctor --fix
  expect_code 0
  expect_findings stale-project-lock "$MISCDISC_HOME/projects/P0001000/Lock"
  [ ! -e "$MISCDISC_HOME/projects/P0001000/Lock" ]
}

@test "a setting that nobody knows is said" {
  printf '[machine]\nusr = "ann"\n[others]\n' >>"$MISCDISC_HOME/config.toml"
  ask doctor --json
  expect_code 10
  jq -r '.findings[] | select(.kind == "unknown-setting") | .text' data >texts
  diff - texts <<'END'
line 4:1: there is no setting "usr" in [machine]; did you mean "user"?  It changes nothing: mend it, or take it out
line 5:2: there is no section [others].  It changes nothing: mend it, or take it out
END
  ! grep -q 'there is no' words
}

@test "a configuration that does not parse is not examined" {
  echo '[' >>"$MISCDISC_HOME/config.toml"
  for command in doctor "doctor share ."; do
    ask $command
    expect_code 2
    [ ! -s data ]
  done
}

@test "people get sentences" {
  share
  : >net/Alpha/bob.cli
  echo words >net/Alpha/Report.lck
  TERM=xterm script -qec "$MISCDISC_COMMAND -q --timeout 60 doctor" /dev/null </dev/null |
    tr -d '\r' >data
  grep -qx "$PWD/net/Alpha/bob.cli" data
  grep -qx "  stale-login (fixable)" data
  grep -qE "^  the login of bob, of .*, is held by nobody\.$" data
  grep -qx "  foreign-file (not to be fixed from here)" data
}

@test "what a save left stays when somebody begins to save before its turn" {
  share
  local at="$PWD/net/Alpha"
  mkdir c
  touch -d '2 hours ago' "$at/.DefNetDrive.txt.1.tmp"
  doctor_stopped_at "before 1" doctor --fix
  local first=$doctor
  doctor_stopped_at "after 1" drives add c
  local saver=$doctor
  doctor=$first
  go_on
  expect_code 10
  [ "$(cut -f3,4 data)" = "left"$'\t'"was not fixed: somebody took it meanwhile, so it was left" ]
  [ -f "$at/.DefNetDrive.txt.1.tmp" ]
  doctor=$saver
  go_on
  expect_code 0
}

@test "a lobby that its maker did not finish is finished as it would have been" {
  share
  start_machine bob bob
  tell bob "freeze-before mkdir /Sound"
  echo "create Gamma" >&"${machine_in[bob]}"
  eventually is_stopped "${machine_pid[bob]}"
  crash_machine bob
  ask doctor
  expect_code 10
  expect_findings unfinished-lobby "$PWD/net/Gamma"
  ask doctor --fix
  expect_code 0
  expect_words "will make what is missing, with DefNetDrive.txt: $PWD/net/Gamma"
  [ "$(find net/Gamma -mindepth 1 | sort | paste -sd' ')" = "net/Gamma/DefNetDrive.txt \
net/Gamma/Media net/Gamma/Media/Material net/Gamma/Media/Sound" ]
  printf '%s' "$PWD/net/Gamma/Media" | cmp - net/Gamma/DefNetDrive.txt
  ask doctor
  expect_code 0
}

@test "so it is while its maker is only slow" {
  share
  start_machine bob bob
  tell bob "freeze-before mkdir /Sound"
  echo "create Gamma" >&"${machine_in[bob]}"
  eventually is_stopped "${machine_pid[bob]}"
  ask doctor --fix
  expect_code 0
  kill -CONT "${machine_pid[bob]}"
  answer bob yes
  printf '%s' "$PWD/net/Gamma/Media" | cmp - net/Gamma/DefNetDrive.txt
  tell bob "enter Gamma"
}

@test "a lobby into which something came before its turn is left" {
  share
  mkdir -p net/{Delta,Gamma}/Media/Material
  doctor_stopped_at "before 1" doctor --fix
  mkdir net/Gamma/Rushes
  go_on
  expect_code 10
  expect_findings unfinished-lobby "$PWD/net/Delta" unfinished-lobby "$PWD/net/Gamma"
  [ "$(column 3)" = "fixed left" ]
  [ "$(ls -A net/Gamma | paste -sd' ')" = "Media Rushes" ]
}

@test "a lobby whose list came before its turn keeps it" {
  share
  mkdir -p net/Gamma/Media/Material
  doctor_stopped_at "before 1" doctor --fix
  printf '/mnt/rushes\n' >net/Gamma/DefNetDrive.txt
  go_on
  expect_code 0
  [ "$(cat net/Gamma/DefNetDrive.txt)" = "/mnt/rushes"$'\n'"$PWD/net/Gamma/Media" ]
}

@test "the lobby of the configuration is finished also when nothing but its folder is there" {
  share
  rm -r net/Alpha
  mkdir net/Alpha net/Empty
  ask doctor
  expect_code 10
  expect_findings unfinished-lobby "$PWD/net/Alpha"
  ask doctor --lobby Alpha
  expect_code 10
  ask doctor --fix
  expect_code 0
  printf '%s' "$PWD/net/Alpha/Media" | cmp - net/Alpha/DefNetDrive.txt
  [ -z "$(ls -A net/Empty)" ]
}

@test "a lobby with anything in it that lost its list is said, and left" {
  share
  local name
  mkdir -p net/{A,B,C,D}/Media net/C/P0001000 net/D/Media/Material net/Plain/Media
  : >net/A/ann.cli
  : >net/B/.lockspace
  : >net/C/P0001000/Lock
  : >net/D/Media/Material/A001.mxf
  : >net/Alpha/Cut.Room
  rm net/Alpha/DefNetDrive.txt
  share_snapshot >before
  ask doctor --fix
  expect_code 10
  expect_findings unmarked-lobby "$PWD/net/A" unmarked-lobby "$PWD/net/B" \
    unmarked-lobby "$PWD/net/C" unmarked-lobby "$PWD/net/D" unmarked-lobby "$PWD/net/Alpha"
  [ "$(cut -f3 data | sort -u)" = - ]
  expect_unchanged
}

@test "a lobby or root that is not there is said" {
  share
  rm -r net/Alpha
  ask doctor
  expect_code 10
  expect_findings missing-lobby "$PWD/net/Alpha"
  rm -r net
  ask doctor
  expect_code 10
  expect_findings missing-root "$PWD/net"
  miscdisc -q config set "network lobby name" ""
  miscdisc -q config set "network project root" ""
  ask doctor
  expect_code 0
}

@test "a root in which no lobby can be made is wrong where nobody could work otherwise" {
  share
  chmod 555 net
  ask_unprivileged doctor
  expect_code 0
  [ ! -s data ]
  expect_words "$PWD/net: no lobby can be made here: Permission denied.  Work in those that there are"
  miscdisc -q config set "network lobby name" ""
  chmod 555 net/Alpha net/Beta
  ask_unprivileged doctor
  chmod 755 net net/*
  expect_code 10
  expect_findings root-not-writable "$PWD/net"
  grep -qF "no lobby can be made here: Permission denied." data
}

@test "a lobby in which this user cannot log in is said" {
  share
  chmod 555 net/Alpha net/Beta
  code=0
  unprivileged "$MISCDISC_COMMAND" --timeout 60 doctor >data 2>words || code=$?
  expect_code 10
  expect_findings lobby-not-writable "$PWD/net/Alpha"
  grep -qF 'this user cannot log in here: Permission denied.  See "Rights and umask" in administering.md' data
  code=0
  unprivileged "$MISCDISC_COMMAND" --timeout 60 doctor --lobby Beta >data 2>words || code=$?
  chmod 755 net/*
  expect_code 10
  expect_findings lobby-not-writable "$PWD/net/Beta"
}

@test "locations listed twice, or hidden as well, and drives of one name are said" {
  mkdir -p e/Material e/Sound a/Material b/Material x/media/Material y/media/Material
  mkdir -p "$MISCDISC_HOME/projects"
  printf '[volumes]\ndiscover = false\nE = "%s"\n' "$PWD/e" >"$MISCDISC_HOME/config.toml"
  local list="$MISCDISC_HOME/projects/DefNetDrive.txt"
  printf '%s/\n' "$PWD/a" "$PWD/b" "$PWD/a" >"$list"
  ask doctor
  expect_code 0
  printf '%s/\n' "$PWD/a" "$PWD/a" "$PWD/b" >"$list"
  ask doctor
  expect_code 10
  expect_findings listed-twice "$list"
  printf '%s/\n' "$PWD/a" "$PWD/e" >"$list"
  printf '%s/\n' "$PWD/e" >"$MISCDISC_HOME/projects/UnmountedDrives.txt"
  ask doctor
  expect_code 10
  expect_findings listed-and-hidden "$list"
  rm "$MISCDISC_HOME/projects/UnmountedDrives.txt"
  printf '%s/\n' "$PWD/x/media" "$PWD/y/media" >"$list"
  ask doctor --fix
  expect_code 10
  expect_findings same-name "$PWD/y/media"
  [ "$(cut -f4 data)" = "the drives #1, #2 all go by the name \"media\".  Give one another name: \
miscdisc drives rename '#2' NAME" ]
  ask drives rename '#2' Other
  ask doctor
  expect_code 0
}

@test "a list that cannot be read is not passed over" {
  mkdir -p "$MISCDISC_HOME/projects/DefNetDrive.txt"
  ask doctor
  expect_code 3
  expect_words "DefNetDrive.txt could not be read (Is a directory)"
}
