# Looking at drives.
load setup

gib=1073741824

three_drives() {
  two_locations
  room_of e $((40 * gib)) $((100 * gib))
  room_of a $((2 * gib)) $((100 * gib))
  room_of b 2097152 $((100 * gib))
  printf 'name=Rushes A\n' >a/Material/MediaSpaceInfo.txt
}

@test "the list has room, minutes and state of every drive" {
  three_drives
  ask_pretended drives list
  expect_code 0
  expect_data \
    "E	$PWD/e	42949672960	107374182400	239	6	ok	$PWD/e" \
    "#1	Rushes A	2147483648	107374182400	11	0	low	$PWD/a" \
    "#2	b	2097152	107374182400	-	-	full	$PWD/b"
  [ ! -s words ]
}

@test "--format chooses the minutes, and the first of them says what is low" {
  three_drives
  ask_pretended drives list --format dv100 --format sd8 --format dv100
  expect_code 0
  expect_data \
    "E	$PWD/e	42949672960	107374182400	59	34	ok	$PWD/e" \
    "#1	Rushes A	2147483648	107374182400	2	1	low	$PWD/a" \
    "#2	b	2097152	107374182400	-	-	full	$PWD/b"
  printf '[drives]\nformats = ["dv50"]\nlow_minutes = 5\n' >>"$MISCDISC_HOME/config.toml"
  ask_pretended drives list
  [ "$(cut -f5,6 data | paste -sd' ')" = "119	ok 5	ok -	full" ]
}

@test "an unknown format is a usage error that names the known ones" {
  three_drives
  ask drives list --format dv26
  expect_code 2
  expect_words "there is no format dv26.  The formats are dv25, "
  [ ! -s data ]
}

@test "--json is one document" {
  three_drives
  rm -r a/Material
  rm -r b
  ask_pretended drives list --json --format dv25
  expect_code 3
  [ "$(jq -r .schema data)" = miscdisc.drives/1 ]
  [ "$(jq -c '.drives[0]' data)" = "{\"id\":\"E\",\"name\":\"$PWD/e\",\"label\":null,\"path\":\"$PWD/e\",\"location\":false,\"free\":42949672960,\"capacity\":107374182400,\"minutes\":{\"dv25\":239},\"full\":false,\"state\":\"ok\"}" ]
  [ "$(jq -c '.drives[1]' data)" = "{\"id\":\"#1\",\"name\":\"a\",\"label\":null,\"path\":\"$PWD/a\",\"location\":true,\"free\":2147483648,\"capacity\":107374182400,\"minutes\":{\"dv25\":11},\"full\":false,\"state\":\"low\"}" ]
  [ "$(jq -c '.drives[2]' data)" = "{\"id\":\"#2\",\"name\":\"b\",\"label\":null,\"path\":\"$PWD/b\",\"location\":true,\"free\":null,\"capacity\":null,\"minutes\":{\"dv25\":null},\"full\":null,\"state\":\"not present\"}" ]
}

@test "a full drive has no minutes, and says that it is full" {
  three_drives
  ask_pretended drives list --json
  [ "$(jq -c '.drives[2] | [.free, .minutes.dv25, .full, .state]' data)" = '[2097152,null,true,"full"]' ]
}

@test "without the pretence the room is the file system's" {
  three_drives
  ask drives list --json
  expect_code 0
  total=$(($(stat -f -c '%b * %S' e)))
  [ "$(jq .drives[0].capacity data)" = "$total" ]
  [ "$(jq '.drives[0].free <= .drives[0].capacity' data)" = true ]
}

@test "on a terminal there is a bar, and units" {
  three_drives
  LD_PRELOAD="$PRETENDED_SPACE" NO_COLOR=1 TERM=xterm \
    script -qec "$MISCDISC_COMMAND drives list" /dev/null </dev/null | tr -d '\r' >data
  grep -qx "DRIVE  NAME .* USED        FREE      CAPACITY   dv25     hd8    STATE  PATH" data
  grep -qx "E      .*/e  ██████░░░░  40.0 GiB  100.0 GiB  239 min  6 min  ok     $PWD/e" data
  grep -qx "#2     b .* ██████████  2.0 MiB   100.0 GiB  -        -      full   $PWD/b" data
}

@test "a drive that is not present is exit 3, and the others are complete" {
  three_drives
  rm -r a
  ask drives list
  expect_code 3
  grep -qx "#1	a	-	-	-	-	not present	$PWD/a" data
  grep -q "^#2	b	[0-9]" data
  expect_words "drive #1 is not present: $PWD/a is no folder that could be mounted.  Mount it, or take it off the list with: miscdisc drives remove '#1'"
  ask drives list --hidden
  expect_code 3
}

@test "--hidden shows what is hidden, too" {
  three_drives
  printf '%s/\n%s/\n%s/\n' "$PWD/e" "$PWD/none" "$PWD/e" >"$hidden"
  [ "$(drive_ids)" = "#1 #2" ]
  ask drives list --hidden
  tail -n 2 data | diff <(printf '%s\n' "E	-	-	-	-	-	hidden	$PWD/e/" "-	-	-	-	-	-	hidden	$PWD/none/") -
  ask drives list --hidden --json
  [ "$(jq -c .hidden data)" = "[{\"id\":\"E\",\"path\":\"$PWD/e/\"},{\"id\":null,\"path\":\"$PWD/none/\"}]" ]
}

@test "only the exact path with its separator hides a volume" {
  three_drives
  printf '%s\n%s//\n' "$PWD/e" "$PWD/e" >"$hidden"
  [ "$(drive_ids)" = "E #1 #2" ]
}

@test "hidden volumes and locations are the same for every command" {
  three_drives
  printf 'x' >a/Material/A.mxf
  printf '%s/\n' "$PWD/e" >"$hidden"
  ask find A.mxf
  expect_code 0
  [ "$(cut -f1-4 data)" = "A.mxf	#1	material	$PWD/a/Material/A.mxf" ]
  ask cache stats
  expect_data "#1	material	2	valid	$PWD/a/Material/" "#1	sound	0	valid	$PWD/a/Sound/" \
    "#2	material	0	valid	$PWD/b/Material/" "#2	sound	0	valid	$PWD/b/Sound/"
  rm -r b
  ask find A.mxf
  expect_code 3
  expect_words "drive #2 is not present"
  ask find A.mxf --volume "#1"
  expect_code 0
}

@test "the numbers of locations stay while one is away" {
  three_drives
  mv a away
  ask drives list
  [ "$(cut -f1,2 data | paste -sd' ')" = "E	$PWD/e #1	a #2	b" ]
  ask find none --volume "#2"
  expect_words "not in Material or Sound of #2"
}

@test "another spelling of a location is no second one" {
  three_drives
  ln -s "$PWD/a" link
  {
    printf '\n  \t\n'
    printf '%s\n' "$PWD/a" "$PWD/A/" "$PWD//a//" "$PWD/e/../a/." "$PWD/link/"
    printf '%s/\n' "$PWD/b"
  } >"$locations"
  ask drives list
  [ "$(cut -f1,8 data | paste -sd' ')" = "E	$PWD/e #1	$PWD/a #2	$PWD/b" ]
}

@test "a lettered volume's own folder takes a number, and is shown as the volume" {
  three_drives
  ln -s "$PWD/e" link
  printf '%s/\n' "$PWD/link" "$PWD/b" >"$locations"
  [ "$(drive_ids)" = "E #2" ]
  printf '%s/\n' "$PWD/e" "$PWD/b" >"$locations"
  [ "$(drive_ids)" = "E #2" ]
}

@test "a location that is listed with several separators goes by its path, or its name" {
  three_drives
  printf '%s//\n' "$PWD/a" "$PWD/b" >"$locations"
  ask drives list --json
  [ "$(jq -c '[.drives[] | [.name, .label]]' data)" = "[[\"$PWD/e\",null],[\"Rushes A\",\"Rushes A\"],[\"$PWD/b\",null]]" ]
}

@test "the list may have CR LF, a byte order mark and no last line end" {
  three_drives
  printf '\xef\xbb\xbf%s/\r\n\r\n%s/' "$PWD/a" "$PWD/b" >"$locations"
  [ "$(drive_ids)" = "E #1 #2" ]
  [ ! -s words ]
}

@test "a list of 70,000 lines is read to its end" {
  three_drives
  {
    yes "$PWD/a/" | head -n 69999
    printf '%s/\n' "$PWD/b"
  } >"$locations"
  [ "$(drive_ids)" = "E #1 #2" ]
}

@test "folders that are no UTF-8, relative or impossible are shown as they are" {
  three_drives
  bad=$'bad\xff\t'
  mkdir -p "$bad/Material"
  printf 'name=N\xfe\n' >"$bad/Material/MediaSpaceInfo.txt"
  printf '%s/\nsome/where/\n%s/x\0y/\n' "$PWD/$bad" "$PWD" >"$locations"
  ask drives list
  expect_code 3
  [ "$(cut -f1,2,7,8 data | tail -n 3)" = "#1	N\\xFE	ok	$PWD/bad\\xFF\\t
#2	where	not present	some/where
#3	x\\x00y	not present	$PWD/x\\x00y" ]
  ask drives list --json
  [ "$(jq -r '.drives[1].name, .drives[1].name_hex, .drives[1].label_hex' data)" = "N�
4efe
4efe" ]
  [ "$(jq -r '.drives[1].path_hex' data)" = "$(printf '%s' "$PWD/$bad" | od -An -v -tx1 | tr -d ' \n')" ]
}

@test "a corrupt file of names does not spoil the data" {
  three_drives
  printf 'rubbish\n' >e/Material/MediaSpaceInfo.txt
  head -c 3000 /dev/urandom | tr -d '=' >a/Material/MediaSpaceInfo.txt
  ask drives list --json
  expect_code 0
  [ "$(jq -c '[.drives[].label]' data)" = "[null,null,null]" ]
  [ "$(jq -r '.drives[0].name, .drives[1].name' data)" = "$PWD/e
a" ]
}

@test "a list that may not be read is exit 3, and is left out" {
  three_drives
  chmod 000 "$locations"
  ask_unprivileged drives list
  expect_code 3
  [ "$(cut -f1 data)" = E ]
  expect_words "$locations could not be read (Permission denied)"
  for command in status "find x" "cache stats"; do
    ask_unprivileged $command
    expect_code 3
  done
  chmod 644 "$locations"
}

@test "a list that cannot be read for whatever reason is exit 3, with the reason" {
  three_drives
  for list in "$locations" "$hidden"; do
    rm -f "$list"
    mkdir "$list"
    ask drives list
    expect_code 3
    expect_words "$list could not be read (Is a directory), so what it lists is not known."
    for command in "drives task" "drives task Capture" "drives best"; do
      ask $command
      expect_code 0
      expect_words "$list could not be read (Is a directory)"
    done
    ask drives show "#7"
    expect_code 3
    expect_words "$list could not be read (Is a directory)"
    rmdir "$list"
    truncate -s 65M "$list"
    ask drives list
    expect_code 3
    expect_words "$list could not be read (File too large)"
    rm "$list"
    mkfifo "$list"
    ask status
    expect_code 3
    grep -qF "$list could not be read (it is no plain file)" data
    rm "$list"
  done
  ask drives list
  expect_code 0
}

@test "the space is the lobby's when the configuration names one" {
  three_drives
  mkdir -p net/Alpha
  printf '%s/\n' "$PWD/b" >net/Alpha/DefNetDrive.txt
  miscdisc -q config set "network project root" "$PWD/net"
  miscdisc -q config set "network lobby name" Alpha
  ask drives list
  [ "$(cut -f1,2 data | paste -sd' ')" = "E	$PWD/e #1	b" ]
}

@test "show says everything about one drive" {
  three_drives
  rm -r a/Sound
  miscdisc --timeout 60 drives task Capture "#1"
  miscdisc --timeout 60 drives task "Voice over" "#1"
  ask_pretended drives show "#1"
  expect_code 0
  grep -qx "drive	#1" data
  grep -qx "name	Rushes A" data
  grep -qx "stored name	Rushes A" data
  grep -qx "path	$PWD/a" data
  grep -qx "network path	//[^/]*$PWD/a" data
  grep -qx "kind	location" data
  grep -qx "prepared	no" data
  grep -qx "state	low" data
  grep -qx "free	2147483648" data
  grep -qx "capacity	107374182400" data
  grep -qx "task	Capture" data
  grep -qx "task	Voice over" data
  grep -qx "dv25	11" data
  grep -qx "dv50	5" data
  grep -qx "uhd10	0" data
  ask_pretended drives show e --json
  [ "$(jq -c '[.schema, .id, .kind, .prepared, .tasks, .minutes.dv50]' data)" = '["miscdisc.drive/1","E","configured",true,[],119]' ]
  rm -r a
  ask drives show "#1"
  expect_code 3
  grep -qx "prepared	-" data
  grep -qx "state	not present" data
}

@test "best is the drive with the most free space" {
  three_drives
  ask_pretended drives best
  expect_code 0
  expect_data "E	$PWD/e	42949672960	107374182400	239	6	ok	$PWD/e"
  room_of b $((50 * gib)) $((100 * gib))
  ask_pretended drives best --format dv25 --json
  [ "$(jq -c '[.schema, .id, .minutes]' data)" = '["miscdisc.best/1","#2",{"dv25":299}]' ]
  NO_COLOR=1 TERM=xterm script -qec "$MISCDISC_COMMAND --timeout 60 drives best" /dev/null \
    </dev/null | tr -d '\r' >data
  grep -q "^DRIVE  NAME .* STATE  PATH" data
  rm -r e a b
  ask drives best
  expect_code 4
  [ ! -s data ]
}

@test "a drive is meant by id, name or path" {
  three_drives
  ln -s "$PWD/a" link
  for meant in "#1" "Rushes A" "rushes a" "$PWD/a" "$PWD/a/" a ./e/../a// "$PWD/A" link; do
    ask drives show "$meant"
    expect_code 0
    grep -qx "drive	#1" data
  done
  for meant in E e "$PWD/e" ./e; do
    ask drives show "$meant"
    grep -qx "drive	E" data
  done
}

@test "an exact name comes before one in another letter case" {
  three_drives
  printf 'name=rushes a\n' >b/Material/MediaSpaceInfo.txt
  ask drives show "Rushes A"
  grep -qx "drive	#1" data
  ask drives show "rushes a"
  grep -qx "drive	#2" data
  ask drives show "RUSHES A"
  expect_code 4
  expect_words "RUSHES A may be any of #1 (Rushes A), #2 (rushes a).  Say which one by its id or path."
}

@test "an unknown drive is exit 4, and the drives are named" {
  three_drives
  for unknown in Q "#3" nope /nowhere ""; do
    ask drives show "$unknown"
    expect_code 4
    expect_words "there is no drive"
    expect_words "The drives are E ($PWD/e), #1 (Rushes A), #2 (b)."
    [ ! -s data ]
  done
}

@test "the status page has the drives, and warns of what is low, full or away" {
  three_drives
  ask_pretended status
  expect_code 0
  grep -qx "drive	E	$PWD/e	42949672960	107374182400	239	6	ok	$PWD/e" data
  grep -qx "drive	#1	Rushes A	2147483648	107374182400	11	0	low	$PWD/a" data
  grep -qx "drive	#2	b	2097152	107374182400	-	-	full	$PWD/b" data
  grep -qx "warning	drive #1 (Rushes A) has room for 11 min of dv25 only" data
  grep -qx "warning	drive #2 (b) is full" data
  ask_pretended status --json
  [ "$(jq -c '[.drives[] | [.id, .state]]' data)" = '[["E","ok"],["#1","low"],["#2","full"]]' ]
  [ "$(jq 'has("volumes")' data)" = false ]
  [ "$(jq '.warnings | length' data)" = 2 ]
  rm -r a
  ask status
  expect_code 3
  grep -q "^warning	drive #1 is not present: $PWD/a is no folder" data
}

@test "looking changes nothing but the log" {
  three_drives
  printf '%s/\n' "$PWD/e" >"$hidden"
  printf '30@dv25 A\n' >recordings
  snapshot >snapshot.before
  for command in status "drives list" "drives list --hidden --json" "drives show a" \
    "drives best" "drives plan recordings" "drives check --min-minutes 1@dv25" "drives task" \
    "drives task Capture" "drives unhide" "find x" "cache stats"; do
    ask $command
    [ "$code" -ne 1 ]
  done
  snapshot | diff snapshot.before -
}

@test "looking for volumes keeps no letters" {
  two_locations
  sed -i '/discover/d' "$MISCDISC_HOME/config.toml"
  snapshot >snapshot.before
  for command in status "drives list" "drives show E" "find x" "cache stats"; do
    ask $command
    [ "$code" -ne 1 ]
  done
  snapshot | diff snapshot.before -
}

@test "a broken configuration is exit 2, and nothing is done" {
  two_locations
  printf '[volumes]\nE = 5\n' >"$MISCDISC_HOME/config.toml"
  snapshot >snapshot.before
  for command in "list" "show E" "best" "plan -" "check --min-free 1" "task Capture a" \
    "rename a N" "add e" "remove a" "unhide e" "prepare a" "save s" "restore s"; do
    ask drives $command </dev/null
    expect_code 2
    expect_words "$MISCDISC_HOME/config.toml:2:5: "
    [ ! -s data ]
  done
  snapshot | diff snapshot.before -
}

@test "a deadline is a number of seconds above zero" {
  for wrong in 0 -1 x nan inf ""; do
    ask drives list --timeout "$wrong"
    expect_code 2
  done
  ask drives list --timeout 0.5
  expect_code 0
}
