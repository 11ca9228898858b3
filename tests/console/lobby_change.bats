# Lobbies that are made, chosen and deleted.
load setup
load lobby

# As a person at a terminal, who types the answer.
ask_on_terminal() { # ANSWER ARGUMENT...
  local answer=$1 words=
  shift
  printf -v words '%q ' "$MISCDISC_COMMAND" --timeout 60 "$@"
  code=0
  echo "$answer" | script -qec "$words" /dev/null >screen || code=$?
}

# Runs the command with a file system in memory on FOLDER that only it sees; what it leaves there is
# listed in "found".
# With "filled" that many bytes are taken there.
ask_mounted() { # FOLDER OPTIONS ARGUMENT...
  local folder=$1 options=$2 own=-rm
  shift 2
  unshare $own true 2>/dev/null || own=-m
  unshare $own true 2>/dev/null || skip "no right to mount"
  code=0
  unshare $own sh -c 'folder=$1
    mount -t tmpfs -o "$2" tmpfs "$folder" || exit 99
    shift 2
    [ -z "${filled:-}" ] || head -c "$filled" /dev/zero >"$folder/filler"
    code=0
    "$@" || code=$?
    find "$folder" -mindepth 1 | sort >found
    exit $code' sh "$folder" "$options" "$MISCDISC_COMMAND" --timeout 60 "$@" >data 2>words || code=$?
}

state() { cat "$MISCDISC_HOME/state.toml"; }

@test "lobby create makes what a lobby is made of, and others find it" {
  share
  ask lobby create "Cut 3" --dry-run
  expect_code 0
  [ ! -e "net/Cut 3" ]
  sed 's/would make/made/; s/would add/added/' data >planned
  ask lobby create "Cut 3"
  expect_code 0
  [ ! -s words ]
  expect_data "made $PWD/net/Cut 3" "made $PWD/net/Cut 3/Media" "made $PWD/net/Cut 3/Media/Material" \
    "made $PWD/net/Cut 3/Media/Sound" "added $PWD/net/Cut 3/Media (in $PWD/net/Cut 3/DefNetDrive.txt)"
  diff planned data
  [ "$(cat "net/Cut 3/DefNetDrive.txt")" = "$PWD/net/Cut 3/Media" ]
  [ -d "net/Cut 3/Media/Material" ]
  [ -d "net/Cut 3/Media/Sound" ]
  start_machine bob bob
  rm -r net/Alpha net/Beta
  tell bob available "Cut 3"
  ask lobby create New --json
  [ "$(jq -c '[.schema, .dry_run, .changes[0].action, .changes[0].path]' data)" = "[\"miscdisc.change/1\",false,\"make\",\"$PWD/net/New\"]" ]
}

@test "the first lobby makes its root" {
  ask lobby create First
  expect_code 0
  local first="$MISCDISC_HOME/network/projects/First"
  expect_data "made $first" "made $first/Media" "made $first/Media/Material" \
    "made $first/Media/Sound" "added $first/Media (in $first/DefNetDrive.txt)"
  expect_words "'network project root' is not set: this lobby lies in this machine's own folder, where no other machine sees it; \"miscdisc config set 'network project root' FOLDER\" names the shared one"
  [ "$(cat "$first/DefNetDrive.txt")" = "$MISCDISC_HOME/network/projects//First/Media" ]
  ask lobby list
  [ "$(cut -f1 data)" = First ]
}

@test "lobby create refuses names that cannot be lobbies, or are taken" {
  share
  : >net/File
  ln -s nowhere net/Link
  for name in "" . .. a/b /a a/ .hidden $'a\nb' 'Bad name ' ' Bad' $'Bad\t' ' '; do
    ask lobby create "$name"
    expect_code 2
    expect_words "cannot be a lobby"
  done
  ask lobby create Alpha
  expect_code 1
  expect_words "$PWD/net/Alpha is a lobby already"
  for name in Folder File Link; do
    ask lobby create $name
    expect_code 1
    expect_words "$PWD/net/$name is there already, and is no lobby: it holds no DefNetDrive.txt"
    expect_words "miscdisc doctor"
  done
  ask lobby create "$(printf 'x%.0s' {1..256})"
  expect_code 1
  expect_words "File name too long"
  [ "$(ls net)" = "$(printf '%s\n' Alpha Beta File Folder Link)" ]
}

@test "lobby create says what is wrong with the root" {
  share
  rm -r net/Beta
  chmod 555 net
  ask_unprivileged lobby create New
  chmod 755 net
  expect_code 1
  expect_words "the lobby $PWD/net/New could not be made: Permission denied."
  expect_words "Nothing was made."
  miscdisc -q config set "network project root" "$PWD/away"
  ask lobby create New
  expect_code 4
  expect_words "$PWD/away/ is not there.  Mount it, or look at \"miscdisc config get 'network project root'\""
  [ ! -e away ]
}

@test "lobby create on storage that is read-only or full says so, and what is half made" {
  share
  mkdir small
  miscdisc -q config set "network project root" "$PWD/small"
  ask_mounted "$PWD/small" ro lobby create New
  expect_code 1
  expect_words "the lobby $PWD/small/New could not be made: Read-only file system."
  ask_mounted "$PWD/small" size=4096,nr_inodes=1 lobby create New
  expect_code 1
  expect_words "the lobby $PWD/small/New could not be made: No space left on device."
  [ ! -s found ]
  ask_mounted "$PWD/small" size=4096,nr_inodes=3 lobby create New
  expect_code 1
  expect_data "made $PWD/small/New" "made $PWD/small/New/Media"
  expect_words "the lobby is only half made, and is not to be used: $PWD/small/New/DefNetDrive.txt could not be written"
  expect_words "remove $PWD/small/New with rm -r"
  diff <(printf '%s\n' "$PWD/small/New" "$PWD/small/New/Media") found
  filled=65536 ask_mounted "$PWD/small" size=65536 lobby create New
  expect_code 1
  expect_words "the lobby is only half made, and is not to be used: $PWD/small/New/DefNetDrive.txt could not be written"
  expect_words "look at df"
}

@test "a lobby is not made on a share that does not answer, nor deleted or chosen there" {
  share
  mkdir hung
  hang_on hung
  miscdisc -q config set "network lobby name" ""
  miscdisc -q config set "network project root" "$PWD/hung"
  for command in "create New" "delete New --yes" "use New"; do
    ask_hanging lobby $command
    expect_code 3
    expect_words "is not answering"
  done
  # The current lobby is away: nobody knows who is logged in there.
  mkdir -p net/Gone
  miscdisc -q config set "network project root" "$PWD"
  miscdisc -q config set "network lobby name" hung
  ask_hanging lobby use --local
  expect_code 7
  expect_words "so it is not known whether this user is logged in in the lobby hung"
  ask_hanging lobby use --local --yes
  expect_code 0
}

@test "lobby delete takes the whole lobby, and follows no link" {
  share
  mkdir outside
  echo keep >outside/file
  ln -s "$PWD/outside" net/Beta/link
  ln -s "$PWD/outside/file" net/Beta/Media/Material/link.mxf
  : >net/Beta/cat.cli
  mkdir -p net/Beta/P0001000
  : >net/Beta/P0001000/Lock
  ask lobby delete Beta --dry-run
  expect_code 0
  expect_data "would remove $PWD/net/Beta/"
  [ -e net/Beta/link ]
  ask lobby delete Beta
  expect_code 7
  expect_words "nobody can be asked here, so nothing was done.  To do it all the same, say --yes."
  [ -e net/Beta/link ]
  ask lobby delete Beta --yes
  expect_code 0
  expect_data "removed $PWD/net/Beta/"
  expect_words "cat's login is a leftover: nobody holds it, and it goes with the lobby"
  expect_words "the lock of project P0001000 is a leftover"
  [ ! -e net/Beta ]
  [ "$(cat outside/file)" = keep ]
  ask lobby delete Beta --yes
  expect_code 4
  expect_words "there is no lobby Beta"
  ask lobby delete Folder --yes
  expect_code 4
  expect_words "$PWD/net/Folder/ holds no DefNetDrive.txt"
  [ -d net/Folder ]
  ask lobby delete . --yes
  expect_code 2
}

@test "on a terminal lobby delete asks, and takes only yes for yes" {
  share
  ask_on_terminal n lobby delete Beta
  [ "$code" -eq 7 ]
  grep -qF "Delete the lobby Beta with everything in $PWD/net/Beta/?" screen
  ask_on_terminal "" lobby delete Beta
  [ "$code" -eq 7 ]
  [ -e net/Beta/DefNetDrive.txt ]
  ask_on_terminal y lobby delete Beta
  [ "$code" -eq 0 ]
  [ ! -e net/Beta ]
  # With one end elsewhere nobody is asked.
  ask lobby create Beta
  code=0
  script -qec "'$MISCDISC_COMMAND' lobby delete Beta 2>words" /dev/null </dev/null >screen || code=$?
  expect_code 7
  expect_words "nobody can be asked here"
}

@test "a lobby in which anybody is, or may be, is not deleted" {
  share
  start_machine bob bob
  tell bob "enter Beta"
  ask lobby delete Beta --yes
  expect_code 7
  expect_words "bob is logged in there since $(since net/Beta/bob.cli)"
  tell bob "leave"
  start_machine own ann
  tell own "enter Beta"
  ask lobby delete Beta --yes
  expect_code 7
  expect_words "ann is logged in there"
  tell own "room Mix.Room"
  rm net/Beta/ann.cli
  ask lobby delete Beta --yes
  expect_code 7
  expect_words "room Mix is held by ann since"
  crash_machine own
  chmod 000 net/Beta/Mix.Room.lck
  : >net/Beta/cat.cli
  chmod 000 net/Beta/cat.cli
  ask_unprivileged lobby delete Beta --yes
  expect_code 7
  expect_words "whether cat is logged in there cannot be told from $PWD/net/Beta/cat.cli"
  expect_words "whether room Mix is held cannot be told"
  rm net/Beta/Mix.Room.lck net/Beta/cat.cli
  mkdir -m 000 net/Beta/P0001000
  ask_unprivileged lobby delete Beta --yes
  expect_code 7
  expect_words "so what is locked in it is not known"
  [ -e net/Beta/DefNetDrive.txt ]
}

@test "a lock that lies where lists do not look keeps its lobby" {
  share
  mkdir -p net/Beta/a/b/P0001000 net/Beta/.hidden
  start_machine bob bob
  tell bob "enter Beta"
  rm net/Beta/bob.cli
  for room in a/b/Deep .hidden/Cut Media/Material/Cut; do
    tell bob "room $room.Room"
    ask lobby delete Beta --yes
    expect_code 7
    expect_words "room $room is held by bob since"
  done
  tell bob "leave-room"
  tell bob leave
  # The lobby around it is another one's space.
  mkdir net/Beta/a/Inner
  : >net/Beta/a/Inner/DefNetDrive.txt
  mv net/Beta/a/b/P0001000 net/Beta/a/Inner
  tell bob "enter Beta/a/Inner"
  rm net/Beta/a/Inner/bob.cli
  tell bob "lock-project P0001000"
  ask lobby delete Beta --yes
  expect_code 7
  expect_words "project a/Inner/P0001000 is held by bob since"
  tell bob "unlock-project"
  tell bob leave
  # The lobby's own folder.
  mkdir net/P0007000
  : >net/P0007000/DefNetDrive.txt
  ln -s . net/P0007000/P0007000
  tell bob "enter P0007000"
  rm net/P0007000/bob.cli
  tell bob "lock-project P0007000"
  [ -f net/P0007000/Lock ]
  ask lobby delete P0007000 --yes
  expect_code 7
  expect_words "project P0007000 is held by bob since"
  [ -e net/Beta/DefNetDrive.txt ]
}

@test "somebody who comes in while the question stands is not deleted" {
  share
  start_machine bob bob
  mkfifo typed
  script -qec "'$MISCDISC_COMMAND' --timeout 60 lobby delete Beta" /dev/null <typed >screen 3>&- &
  local asking=$! typing
  exec {typing}>typed
  until grep -q "y/N" screen; do sleep 0.05; done
  tell bob "enter Beta"
  echo y >&$typing
  code=0
  wait $asking || code=$?
  exec {typing}>&-
  [ "$code" -eq 7 ]
  grep -q "bob is logged in there" screen
  [ -e net/Beta/bob.cli ]
}

@test "the current lobby is not deleted, by whatever name" {
  share
  ask lobby delete Alpha --yes
  expect_code 7
  expect_words "Alpha is the current lobby of this machine"
  expect_words '"miscdisc lobby use --local"'
  ln -s Alpha net/Other
  ask lobby delete Other --yes
  expect_code 7
  [ -e net/Alpha/DefNetDrive.txt ]
  [ -L net/Other ]
}

@test "what is mounted in a lobby is not deleted with it" {
  share
  ask_mounted "$PWD/net/Beta/Media" size=65536 lobby delete Beta --yes
  expect_code 7
  expect_words "$PWD/net/Beta/Media is a mount, so the lobby Beta was not deleted.  Unmount it first."
  [ -e net/Beta/DefNetDrive.txt ]
}

@test "a mount in a lobby that does not answer keeps nobody waiting" {
  share
  rmdir net/Beta/Media/*
  hang_on net/Beta/Media
  ask_hanging lobby delete Beta --yes
  expect_code 7
  expect_words "$PWD/net/Beta/Media is a mount"
}

@test "without the rights to delete it whole a lobby keeps everything" {
  share
  for folder in net net/Beta; do
    chmod 555 $folder
    share_snapshot >before
    ask_unprivileged lobby delete Beta --yes
    share_snapshot | diff before -
    chmod 755 $folder
    expect_code 1
    expect_words "$PWD/$folder"
    expect_words "Permission denied."
    expect_words "Nothing was deleted."
  done
}

@test "what could not be deleted is named" {
  share
  mkdir net/Beta/closed
  : >net/Beta/closed/file
  chmod 555 net/Beta/closed
  ask_unprivileged lobby delete Beta --yes
  chmod 755 net/Beta/closed
  expect_code 1
  expect_words "the lobby Beta was not deleted entirely.  Left are $PWD/net/Beta/DefNetDrive.txt, $PWD/net/Beta/closed, $PWD/net/Beta/closed/file."
  [ ! -s data ]
}

@test "lobby use writes the lobby's name, and --local keeps it as the last one" {
  share
  ask lobby use Beta --dry-run
  expect_code 0
  expect_data "would set $PWD/net/Beta/ (in $MISCDISC_HOME/state.toml)"
  [ "$(miscdisc config get "network lobby name")" = Alpha ]
  ask lobby use Beta
  expect_code 0
  expect_data "set $PWD/net/Beta/ (in $MISCDISC_HOME/state.toml)"
  [ "$(miscdisc config get "network lobby name")" = Beta ]
  ask config get "last network lobby name"
  expect_code 4
  ask lobby use --local
  expect_code 0
  expect_data "cleared $PWD/net/Beta/ (in $MISCDISC_HOME/state.toml)"
  [ "$(miscdisc config get "network lobby name")" = "" ]
  [ "$(miscdisc config get "last network lobby name")" = Beta ]
  state >before
  ask lobby use --local
  expect_code 0
  expect_words "this machine works locally already"
  state | diff before -
  ask lobby use Alpha -q
  ask lobby use Alpha
  expect_code 0
  expect_words "the lobby is Alpha already"
  [ -z "$(ls net/Alpha/*.cli 2>/dev/null)" ]
}

@test "lobby use refuses what is no lobby, and an unclear wish" {
  share
  state >before
  ask lobby use Nope
  expect_code 4
  ask lobby use Folder
  expect_code 4
  for arguments in "" "Beta --local" ".." "a/b"; do
    ask lobby use $arguments
    expect_code 2
  done
  state | diff before -
}

@test "lobby use leaves a program of this user its lobby" {
  share
  start_machine own ann
  start_machine bob bob
  tell own "enter Alpha"
  tell bob "enter Alpha"
  state >before
  for arguments in Beta --local "Beta --yes"; do
    ask lobby use $arguments
    expect_code 5
    expect_words "this user is logged in in the lobby Alpha, from a program that works there"
  done
  state | diff before -
  tell own "leave"
  ask lobby use Beta
  expect_code 0
}

@test "where nobody can tell who is logged in, lobby use needs --yes" {
  share
  : >net/Alpha/ann.cli
  chmod 000 net/Alpha/ann.cli
  ask_unprivileged lobby use Beta
  expect_code 7
  expect_words "so it is not known whether this user is logged in in the lobby Alpha"
  ask_unprivileged lobby use Beta --yes
  expect_code 0
}

@test "a leftover login or a lobby that is gone does not keep anybody in it" {
  share
  : >net/Alpha/ann.cli
  ask lobby use Beta
  expect_code 0
  rm -r net/Beta
  ask lobby use Alpha
  expect_code 0
}

@test "inside a holding command lobby use counts from the next program on" {
  share
  MISCDISC_LOBBY=Alpha ask lobby use Beta
  expect_code 0
  expect_words "what is started from here still works in Alpha, as MISCDISC_LOBBY says"
  [ "$(miscdisc config get "network lobby name")" = Beta ]
}

@test "settings that cannot be written are said" {
  share
  chmod 555 "$MISCDISC_HOME"
  for command in "lobby use Beta" "lobby use --local" "space use ."; do
    ask_unprivileged $command
    expect_code 1
    expect_words "state.toml"
    [ ! -s data ]
  done
  chmod 755 "$MISCDISC_HOME"
  [ "$(miscdisc config get "network lobby name")" = Alpha ]
}

@test "nothing is changed while the configuration cannot be used" {
  share
  printf 'volumes = 1\n' >"$MISCDISC_HOME/config.toml"
  snapshot >snapshot.before
  for command in "lobby create New" "lobby delete Beta --yes" "lobby use Beta" "lobby use --local"; do
    ask $command
    expect_code 2
    expect_words "config.toml:1:11: volumes is a section: [volumes] was expected"
  done
  snapshot | diff snapshot.before -
}
