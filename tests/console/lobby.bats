# Lobbies, as everybody sees them.
load setup
load lobby

@test "lobby list counts who is there and who really is, and says which lobby is the current one" {
  share
  start_machine bob bob
  tell bob "enter Alpha"
  : >net/Alpha/cat.cli
  ask lobby list
  expect_code 0
  expect_data "Alpha	1	2	yes	$PWD/net/Alpha/" "Beta	0	0	no	$PWD/net/Beta/"
  [ ! -s words ]
  ask lobby list --json
  [ "$(jq -c . data)" = "{\"schema\":\"miscdisc.lobbies/1\",\"root\":\"$PWD/net\",\"lobbies\":[{\"name\":\"Alpha\",\"path\":\"$PWD/net/Alpha/\",\"live\":1,\"people\":2,\"current\":true},{\"name\":\"Beta\",\"path\":\"$PWD/net/Beta/\",\"live\":0,\"people\":0,\"current\":false}]}" ]
}

@test "a current lobby that is gone is said, and so is a missing root" {
  share
  rm -r net/Alpha
  ask lobby list
  expect_code 0
  [ "$(cut -f1 data)" = Beta ]
  expect_words "the current lobby Alpha is not among them"
  rm -r net
  ask lobby list --json
  expect_code 4
  [ ! -s data ]
  expect_words "$PWD/net is not there.  Mount it, or look at \"miscdisc config get 'network project root'\""
}

@test "a first start has no lobbies" {
  ask lobby list --json
  expect_code 0
  [ "$(jq -c .lobbies data)" = '[]' ]
}

@test "a root that may not be read is no empty one" {
  share
  chmod 000 net
  ask_unprivileged lobby list
  chmod 755 net
  expect_code 3
  expect_words "$PWD/net could not be read (Permission denied)"
}

@test "lobby show tells the living from leftovers, and whose they are" {
  share
  start_machine bob bob
  tell bob "enter Alpha"
  tell bob "room Edit 1.Room"
  tell bob "lock-project P0001000"
  : >net/Alpha/ann.cli
  printf 'cat' >net/Alpha/P0001000/Mix.Room.lck.inf
  : >net/Alpha/P0001000/Mix.Room.lck
  touch -d 2026-01-02T03:04:05Z net/Alpha/*.cli net/Alpha/*.lck net/Alpha/P0001000/*.lck net/Alpha/P0001000/Lock
  local at=2026-01-02T03:04:05Z
  ask lobby show
  expect_code 0
  expect_data "person	ann	stale	$at	yes" "person	bob	live	$at	no" \
    "lock	project	P0001000	live	bob	$at	$PWD/net/Alpha/P0001000/Lock" \
    "lock	room	Edit 1	live	bob	$at	$PWD/net/Alpha/Edit 1.Room.lck" \
    "lock	room	P0001000/Mix	stale	cat	$at	$PWD/net/Alpha/P0001000/Mix.Room.lck"
  expect_words "ann's login is a leftover: nobody holds it"
  expect_words "the lock of room P0001000/Mix is a leftover of cat: nobody holds it."
  ask lobby show Alpha --json -q
  [ ! -s words ]
  [ "$(jq -c . data)" = "{\"schema\":\"miscdisc.lobby/1\",\"name\":\"Alpha\",\"path\":\"$PWD/net/Alpha/\",\"people\":[{\"user\":\"ann\",\"held\":false,\"since\":\"$at\",\"you\":true},{\"user\":\"bob\",\"held\":true,\"since\":\"$at\",\"you\":false}],\"locks\":[{\"kind\":\"project\",\"name\":\"P0001000\",\"path\":\"$PWD/net/Alpha/P0001000/Lock\",\"owner\":\"bob\",\"state\":\"live\",\"since\":\"$at\"},{\"kind\":\"room\",\"name\":\"Edit 1\",\"path\":\"$PWD/net/Alpha/Edit 1.Room.lck\",\"owner\":\"bob\",\"state\":\"live\",\"since\":\"$at\"},{\"kind\":\"room\",\"name\":\"P0001000/Mix\",\"path\":\"$PWD/net/Alpha/P0001000/Mix.Room.lck\",\"owner\":\"cat\",\"state\":\"stale\",\"since\":\"$at\"}]}" ]
  ask lobby show Beta
  expect_code 0
  [ ! -s data ]
}

@test "lobby show refuses what is no lobby" {
  share
  for name in . .. a/b /; do
    ask lobby show "$name"
    expect_code 2
    expect_words "\"$name\" cannot be a lobby"
  done
  ask lobby show Nope
  expect_code 4
  expect_words "there is no lobby Nope: $PWD/net/Nope/ is not there"
  ask lobby show Folder
  expect_code 4
  expect_words "$PWD/net/Folder/ holds no DefNetDrive.txt"
  miscdisc -q config set "network lobby name" ""
  ask lobby show
  expect_code 4
  expect_words "this machine works locally"
}

@test "what the storage does not tell is unknown, and never a number" {
  share
  : >net/Alpha/bob.cli
  : >"net/Alpha/Edit 1.Room.lck"
  chmod 000 net/Alpha/bob.cli net/Alpha/Edit*lck
  ask_unprivileged lobby show --json
  expect_code 0
  [ "$(jq -c '[.people[0].held, .locks[0].state, .locks[0].owner]' data)" = '[null,"unknown",null]' ]
  ask_unprivileged lobby list
  [ "$(head -1 data)" = "Alpha	-	1	yes	$PWD/net/Alpha/" ]
}

@test "a lobby whose folder may not be read is incomplete, and shows nothing for nobody" {
  share
  chmod 311 net/Alpha
  ask_unprivileged lobby show Alpha --json
  chmod 755 net/Alpha
  expect_code 3
  [ "$(jq -c '[.people, .locks]' data)" = '[null,null]' ]
  expect_words "$PWD/net/Alpha/ could not be read (Permission denied)"
}

@test "logins and locks that are links, folders or pipes disturb nobody" {
  share
  mkdir other net/Alpha/folder.cli "net/Alpha/Edit 2.Room.lck" net/Alpha/P0002000
  printf 'keep' >other/file
  ln -s "$PWD/other/file" net/Alpha/link.cli
  ln -s "$PWD/other/file" "net/Alpha/Edit 1.Room.lck"
  mkfifo net/Alpha/pipe.cli "net/Alpha/Edit 3.Room.lck" net/Alpha/P0001000/Lock net/Alpha/P0001000/Lock.inf
  ln -s "$PWD/other" net/Alpha/P0002000/Lock
  share_snapshot >before
  ask lobby show --json
  expect_code 0
  [ "$(jq -c '[.people, [.locks[] | [.path, .owner, .state]]]' data)" = "[[],[[\"$PWD/net/Alpha/P0001000/Lock\",null,\"unknown\"],[\"$PWD/net/Alpha/P0002000/Lock\",null,\"unknown\"],[\"$PWD/net/Alpha/Edit 1.Room.lck\",null,\"unknown\"],[\"$PWD/net/Alpha/Edit 2.Room.lck\",null,\"unknown\"],[\"$PWD/net/Alpha/Edit 3.Room.lck\",null,\"unknown\"]]]" ]
  expect_words "the lock of room Edit 1 is no ordinary file, so nobody can hold or take it: $PWD/net/Alpha/Edit 1.Room.lck"
  for command in "room check" "locks wait --for 60"; do
    for room in "Edit 1" "Edit 2" "Edit 3"; do
      ask $command "$room"
      expect_code 1
      expect_words "is no ordinary file"
    done
  done
  ask project who P0001000
  expect_code 1
  expect_words "nobody has project P0001000 open, and nobody can"
  ask locks wait P0002000
  expect_code 1
  share_snapshot | diff before -
}

@test "an owner is shown whatever is in the file: ten megabytes, no UTF-8, a line end" {
  share
  : >"net/Alpha/Edit 1.Room.lck"
  head -c 10000000 /dev/zero | tr '\0' x >"net/Alpha/Edit 1.Room.lck.inf"
  ask locks list --json -q
  expect_code 0
  [ "$(jq -r '.locks[0].owner | length' data)" -eq 200 ]
  printf 'a\377\nb' >"net/Alpha/Edit 1.Room.lck.inf"
  ask locks list --json -q
  [ "$(jq -c '.locks[0] | [.owner, .owner_hex]' data)" = '["a�\nb","61ff0a62"]' ]
  ask locks list -q
  [ "$(cut -f4 data)" = 'a\xFF\nb' ]
}

@test "a share that does not answer keeps nobody waiting" {
  share
  mkdir hung
  hang_on hung
  miscdisc -q config set "network project root" "$PWD"
  miscdisc -q config set "network lobby name" hung
  for command in "lobby show" "lobby show hung" "room list" "room check x" "project list" \
    "project who P0001000" "locks list" "locks wait x" "locks wait P0001000" \
    "locks wait --for 0.5 $PWD/hung/x.lck"; do
    ask_hanging --timeout 0.5 $command
    expect_code 3
    expect_words "is not answering"
  done
  ask_hanging lobby list
  expect_code 3
  [ "$(grep "^hung" data)" = "hung	-	-	yes	$PWD/hung/" ]
  ask_hanging lobby list --json
  [ "$(jq -c '[.lobbies[] | select(.name == "hung") | .live, .people]' data)" = '[null,null]' ]
  miscdisc -q config set "network project root" "$PWD/hung"
  ask_hanging lobby list
  expect_code 3
  expect_words "$PWD/hung is not answering"
}

@test "one lobby that does not answer leaves the others complete" {
  share
  mkdir net/Gone
  hang_on net/Gone
  ask_hanging lobby list
  expect_code 3
  expect_data "Alpha	0	0	yes	$PWD/net/Alpha/" "Beta	0	0	no	$PWD/net/Beta/" "Gone	-	-	no	$PWD/net/Gone/"
  expect_words "$PWD/net/Gone/ is not answering"
}

@test "names that are not UTF-8 are shown escaped, and given exactly" {
  share
  ask lobby create $'caf\xe9'
  expect_code 0
  ask lobby list
  [ "$(tail -1 data | cut -f1)" = 'caf\xE9' ]
  ask lobby show $'caf\xe9' --json
  expect_code 0
  [ "$(jq -r .name_hex data)" = 636166e9 ]
  ask lobby use $'caf\xe9'
  : >$'net/caf\xe9/b\xff.cli'
  : >$'net/caf\xe9/r\xff.Room.lck'
  ask lobby show -q
  expect_code 0
  [ "$(cut -f1-3 data)" = $'person\tb\\xFF\tstale\nlock\troom\tr\\xFF' ]
  ask room check $'r\xff'
  expect_code 0
}
