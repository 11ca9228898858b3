# Changing drives and their lists.
load setup

# Two bare folders, and nothing listed yet.
two_folders() {
  two_locations
  rm -r "$MISCDISC_HOME/projects" a/Sound b/Material b/Sound
}

@test "folders are added, named, and there at the next start" {
  two_folders
  ask drives add a --name "Rushes A"
  expect_code 0
  expect_data "added #1: $PWD/a/ (in $locations)" \
    "renamed #1: $PWD/a \"Rushes A\" (in $PWD/a/Material/MediaSpaceInfo.txt)"
  ask drives add "$PWD/b/"
  expect_code 0
  expect_data "added #2: $PWD/b/ (in $locations)"
  diff <(printf '%s/\n' "$PWD/a" "$PWD/b") "$locations"
  diff <(printf 'name=Rushes A\n') a/Material/MediaSpaceInfo.txt
  ask drives prepare b
  expect_code 0
  expect_data "made #2: $PWD/b/Material" "made #2: $PWD/b/Sound"
  ask drives rename b "Rüshes \"B\""
  expect_code 0
  expect_data "renamed #2: $PWD/b \"Rüshes \"B\"\" (in $PWD/b/Material/MediaSpaceInfo.txt)"
  [ ! -s words ]
  ask drives list
  [ "$(cut -f1,2 data | paste -sd' ')" = "E	$PWD/e #1	Rushes A #2	Rüshes \"B\"" ]
}

@test "adding under a name makes the media folders, where the name lies" {
  two_folders
  ask --dry-run drives add b --name "Rushes B"
  expect_code 0
  cp data planned
  [ ! -e b/Material ]
  ask drives add b --name "Rushes B"
  expect_code 0
  expect_data "added #1: $PWD/b/ (in $locations)" "made #1: $PWD/b/Material" \
    "made #1: $PWD/b/Sound" \
    "renamed #1: $PWD/b \"Rushes B\" (in $PWD/b/Material/MediaSpaceInfo.txt)"
  [ "$(wc -l <planned)" -eq 4 ]
  diff <(printf 'name=Rushes B\n') b/Material/MediaSpaceInfo.txt
  [ -d b/Sound ]
}

@test "a folder that cannot keep the name is not added under it" {
  two_folders
  chmod 555 b
  ask_unprivileged drives add b --name N
  chmod 755 b
  expect_code 1
  expect_words "$PWD/b: its media folders, where its name is kept, could not be made: Permission denied."
  expect_words "Nothing was added"
  [ ! -s data ]
  [ ! -e "$locations" ]
}

@test "what is listed is the full path, without detours, with a separator at its end" {
  two_folders
  ask drives add ./b/..//a
  expect_code 0
  diff <(printf '%s/\n' "$PWD/a") "$locations"
}

@test "add --json says what was changed" {
  two_folders
  ask drives add a --name N --json
  expect_code 0
  [ "$(jq -c . data)" = "{\"schema\":\"miscdisc.change/1\",\"dry_run\":false,\"changes\":[{\"action\":\"add\",\"drive\":\"#1\",\"path\":\"$PWD/a/\",\"file\":\"$locations\"},{\"action\":\"rename\",\"drive\":\"#1\",\"path\":\"$PWD/a\",\"file\":\"$PWD/a/Material/MediaSpaceInfo.txt\",\"name\":\"N\"}]}" ]
}

@test "a folder that is there already is refused, in any spelling" {
  two_locations
  ln -s "$PWD/a" link
  for spelled in a a/ ./b/../a "$PWD/A" link e; do
    [ "$spelled" != "$PWD/A" ] || mkdir A
    snapshot >snapshot.before
    ask drives add "$spelled"
    expect_code 1
    expect_words "is there already, as the "
    [ "$spelled" != "$PWD/A" ] || expect_words "Names that differ in letter case only count as one"
    snapshot | diff snapshot.before -
  done
}

@test "what is no folder, or cannot be one of the list, is refused with a reason" {
  two_folders
  touch file
  mkdir $'line\nend' closed
  chmod 000 closed
  snapshot >snapshot.before
  ask drives add none
  expect_code 4
  expect_words "$PWD/none does not exist."
  ask drives add file
  expect_code 1
  expect_words "$PWD/file is no folder."
  ask drives add file/x
  expect_code 1
  ask drives add $'line\nend'
  expect_code 2
  expect_words 'line\nend has a line end in its name'
  ask drives add ""
  expect_code 2
  ask_unprivileged drives add closed
  expect_code 1
  expect_words "$PWD/closed may not be read by this user."
  ask drives add a --name $'N\n'
  expect_code 2
  snapshot | diff snapshot.before -
  chmod 755 closed
}

@test "a folder inside a location or around one needs --yes" {
  two_locations
  mkdir a/sub
  ask drives add a/sub
  expect_code 7
  expect_words "$PWD/a/sub lies inside the location #1 (a), $PWD/a, so that files would be listed twice.  To add it all the same, say --yes"
  ask drives add .
  expect_code 7
  expect_words "$PWD lies around the location #1"
  mkdir a-sub
  ask drives add a-sub
  expect_code 0
  ask drives add a/sub --yes
  expect_code 0
  [ "$(drive_ids)" = "E #1 #2 #3 #4" ]
}

@test "adding does not read the other folders" {
  two_folders
  mkdir -p "$MISCDISC_HOME/projects"
  printf '%s/\n' "$PWD/a" >"$locations"
  ask -v drives add b
  expect_code 0
  grep '^Added media location' words | diff <(echo "Added media location : $PWD/b/") -
}

@test "a list that cannot be written is exit 1, and stays as it is" {
  two_locations
  mkdir c
  chmod 555 "$MISCDISC_HOME/projects"
  cp "$locations" before
  ask_unprivileged drives add c
  expect_code 1
  expect_words "$locations could not be written: nothing can be written in $MISCDISC_HOME/projects/: Permission denied."
  [ ! -s data ]
  for command in "remove a" "remove E"; do
    ask_unprivileged drives $command
    expect_code 1
    expect_words "could not be written: nothing can be written in "
  done
  chmod 755 "$MISCDISC_HOME/projects"
  cmp before "$locations"
  [ ! -e "$hidden" ]
}

@test "a list that cannot be read is left alone, and so is a saved one" {
  two_locations
  mkdir c
  rm "$locations"
  mkdir "$locations"
  printf '%s/\n' "$PWD/c" >saved
  snapshot >snapshot.before
  for command in "add c" "remove E" "unhide E" "save saved --yes" "restore saved"; do
    ask drives $command
    expect_code 1
    expect_words "$locations could not be read (Is a directory)"
    [ ! -s data ]
  done
  snapshot | diff snapshot.before -
}

@test "a space that cannot be made, and a lobby that is not there, are failures" {
  two_folders
  chmod 555 "$MISCDISC_HOME"
  ask_unprivileged drives add a
  expect_code 1
  expect_words "$MISCDISC_HOME/projects/ could not be made: Permission denied."
  chmod 755 "$MISCDISC_HOME"
  miscdisc -q config set "network project root" "$PWD/net"
  miscdisc -q config set "network lobby name" Alpha
  ask drives add a
  expect_code 1
  expect_words "the lobby's folder $PWD/net/Alpha/ is not there."
  mkdir -p net/Alpha
  touch net/Alpha/DefNetDrive.txt
  ask drives add a
  expect_code 0
  diff <(printf '%s/\n' "$PWD/a") net/Alpha/DefNetDrive.txt
}

@test "two that add at once are both listed, and know their numbers" {
  two_folders
  for round in 1 2 3 4 5; do
    rm -rf "$MISCDISC_HOME/projects"
    miscdisc --timeout 60 drives add a >first &
    miscdisc --timeout 60 drives add b >second
    wait $!
    diff <(printf '%s/\n' "$PWD/a" "$PWD/b") <(sort "$locations")
    diff <(awk -v list="$locations" '{ print "added #" NR ": " $0 " (in " list ")" }' "$locations") \
      <(sort first second)
  done
}

@test "a location is removed with all its spellings, and the others stay as they are" {
  two_locations
  ln -s "$PWD/a" link
  printf '%s\n' "$PWD/a/" "$PWD/a/" "$PWD/b/" "" "$PWD/A/" "$PWD//a" "$PWD/link/" "$PWD/a/sub/" \
    >"$locations"
  ask drives remove "#1"
  expect_code 0
  diff <(printf '%s\n' "$PWD/b/" "" "$PWD/a/sub/") "$locations"
  expect_data "removed #1: $PWD/a/ (in $locations)" "removed #1: $PWD/a/ (in $locations)" \
    "removed #1: $PWD/A/ (in $locations)" "removed #1: $PWD//a (in $locations)" \
    "removed #1: $PWD/link/ (in $locations)"
  [ -d a/Material ]
}

@test "a location that is not present is removed as well" {
  two_locations
  rm -r a
  ask drives remove a
  expect_code 0
  diff <(printf '%s/\n' "$PWD/b") "$locations"
}

@test "a location behind line 65,535 is removed" {
  two_locations
  {
    yes "" | head -n 69999
    printf '%s/\n' "$PWD/b"
  } >"$locations"
  ask drives remove b
  expect_code 0
  [ "$(wc -l <"$locations")" -eq 69999 ]
  [ "$(drive_ids)" = E ]
}

@test "the drive itself is not touched" {
  two_locations
  touch a/Material/A.mxf
  find a e -printf '%p %s %m %T@ %C@\n' >before
  ask drives remove a
  ask drives remove E
  find a e -printf '%p %s %m %T@ %C@\n' | diff before -
}

# What the command says on a terminal, where data and words are read together.
both() { miscdisc --timeout 60 "$@" >both 2>&1; }

@test "how a hidden volume comes back is said after it was hidden" {
  two_locations
  both drives remove e
  diff both - <<END
hid E: $PWD/e/ (in $hidden)
miscdisc: to get it back: miscdisc drives unhide E
END
}

@test "in a lobby it is said that a drive comes and goes for every machine" {
  two_locations
  mkdir -p net/Alpha c/Material c/Sound
  : >net/Alpha/DefNetDrive.txt
  miscdisc -q config set "network project root" "$PWD/net"
  miscdisc -q config set "network lobby name" Alpha
  both drives add c
  diff both - <<END
added #1: $PWD/c/ (in $PWD/net/Alpha/DefNetDrive.txt)
miscdisc: every machine of lobby Alpha has it in its list; they find it where it has the same path
END
  both drives remove E
  diff both - <<END
hid E: $PWD/e/ (in $PWD/net/Alpha/UnmountedDrives.txt)
miscdisc: E is hidden for every machine of lobby Alpha
miscdisc: to get it back: miscdisc drives unhide E
END
}

@test "a drive without its media folders is said, with what makes them" {
  two_locations
  mkdir -p empty half/Sound
  both drives add empty
  diff both - <<END
added #3: $PWD/empty/ (in $locations)
miscdisc: #3 (empty) has no folders "Material" and "Sound" yet: miscdisc drives prepare '#3'
END
  ask drives add half
  expect_words "#4 (half) has no folder \"Material\" yet: miscdisc drives prepare '#4'"
  ask drives show '#3'
  expect_code 0
  expect_words "#3 (empty) has no folders \"Material\" and \"Sound\" yet: miscdisc drives prepare '#3'"
  ask drives prepare '#3'
  ask drives show '#3'
  [ ! -s words ]
}

@test "a volume is hidden, and comes back" {
  two_locations
  ask drives remove e
  expect_code 0
  expect_data "hid E: $PWD/e/ (in $hidden)"
  expect_words "to get it back: miscdisc drives unhide E"
  diff <(printf '%s/\n' "$PWD/e") "$hidden"
  [ "$(drive_ids)" = "#1 #2" ]
  ask drives remove e
  expect_code 4
  diff <(printf '%s/\n' "$PWD/e") "$hidden"
  ask drives unhide
  expect_code 0
  expect_data "E	$PWD/e/"
  ask drives unhide --json
  [ "$(jq -c . data)" = "{\"schema\":\"miscdisc.hidden/1\",\"hidden\":[{\"id\":\"E\",\"path\":\"$PWD/e/\"}]}" ]
  ask drives unhide E
  expect_code 0
  expect_data "unhid E: $PWD/e/ (in $hidden)"
  [ "$(drive_ids)" = "E #1 #2" ]
}

@test "a volume that is not present is hidden as well" {
  two_locations
  rm -r e
  ask drives remove E
  expect_code 0
  diff <(printf '%s/\n' "$PWD/e") "$hidden"
}

@test "hiding a volume takes its folder off the list of locations, which would bring it back" {
  two_locations
  printf '%s/\n' "$PWD/e" "$PWD/b" >"$locations"
  ask drives remove E
  expect_code 0
  diff <(printf '%s/\n' "$PWD/b") "$locations"
  expect_data "hid E: $PWD/e/ (in $hidden)" "removed E: $PWD/e/ (in $locations)"
  expect_words "its line $PWD/e/ went, and unhide does not bring that back."
  [ "$(drive_ids)" = "#1" ]
}

@test "of two volumes whose names differ in letter case, the one that is meant is hidden" {
  two_locations
  mkdir E
  printf 'F = "%s"\n' "$PWD/E" >>"$MISCDISC_HOME/config.toml"
  ask drives remove F
  expect_code 0
  diff <(printf '%s/\n' "$PWD/E") "$hidden"
  [ "$(drive_ids)" = "E #1 #2" ]
}

@test "unhide drops every line of the volume" {
  two_locations
  printf '%s\n' "$PWD/e/" "$PWD/e" "$PWD/none/" "$PWD/e/" >"$hidden"
  ask drives unhide ./e
  expect_code 0
  diff <(printf '%s\n' "$PWD/none/") "$hidden"
  ask drives unhide e
  expect_code 4
  expect_words "e is not hidden here.  Hidden are $PWD/none/."
  ask drives unhide "$PWD/none"
  expect_code 0
  [ ! -s "$hidden" ]
  ask drives unhide Q
  expect_code 4
  expect_words "Q is not hidden here.  Nothing is."
}

@test "a name is taken away with an empty one" {
  two_locations
  miscdisc --timeout 60 drives rename a N >data
  ask drives rename N ""
  expect_code 0
  diff <(printf 'name=\n') a/Material/MediaSpaceInfo.txt
  ask drives list --json
  [ "$(jq -c '.drives[1] | [.name, .label]' data)" = '["a",null]' ]
}

@test "a name with control characters is refused" {
  two_locations
  snapshot >snapshot.before
  for name in $'a\nb' $'a\rb' $'\e[31m' $'\x7f' $'\xc2\x9b'; do
    ask drives rename a "$name"
    expect_code 2
    expect_words "a name without line ends and other control characters was expected"
  done
  snapshot | diff snapshot.before -
}

@test "a name that reads like an id is said to mean the other drive" {
  two_locations
  for name in E e "#1"; do
    ask drives rename b "$name"
    expect_code 0
    expect_words "the name $name reads like an id"
    ask drives show "$name"
    expect_none "^drive	#2$" data
  done
}

@test "a name that is not UTF-8 is kept as it is" {
  two_locations
  ask drives rename a $'N\xff=x '
  expect_code 0
  diff <(printf 'name=N\xff=x \n') a/Material/MediaSpaceInfo.txt
}

@test "two drives of one name are allowed, and said" {
  two_locations
  miscdisc --timeout 60 drives rename a N >data
  ask drives rename b N
  expect_code 0
  expect_words "#1 (N) has that name too"
  ask drives show N
  expect_code 4
  expect_words "N may be any of #1 (N), #2 (N)."
}

@test "a name that cannot be kept says why" {
  two_locations
  rm -r b/Material
  ask drives rename b N
  expect_code 1
  expect_words "$PWD/b has no folder \"Material\", where its name is kept.  Make it with: miscdisc drives prepare '#2'"
  chmod 555 a/Material
  ask_unprivileged drives rename a N
  chmod 755 a/Material
  expect_code 1
  expect_words "$PWD/a/Material/MediaSpaceInfo.txt could not be written: nothing can be written in "
  room_of a 0 1073741824
  ask_pretended drives rename a N
  expect_code 1
  expect_words "#1 (a) has no free space, so its name could not be kept there."
  [ ! -e a/Material/MediaSpaceInfo.txt ]
  rm -r a
  ask drives rename a N
  expect_code 3
  expect_words "drive #1 is not present"
}

@test "prepare makes what is missing, and says what could not be made" {
  two_locations
  rmdir a/Sound
  ask drives prepare a --json
  expect_code 0
  [ "$(jq -c .changes data)" = "[{\"action\":\"make\",\"drive\":\"#1\",\"path\":\"$PWD/a/Sound\",\"file\":null}]" ]
  [ -d a/Sound ]
  ask drives prepare a
  expect_code 0
  expect_words "#1 (a) is prepared for media already."
  rmdir a/Sound a/Material
  touch a/Sound
  ask drives prepare a
  expect_code 1
  expect_data "made #1: $PWD/a/Material"
  expect_words "$PWD/a/Sound could not be made."
}

@test "a task keeps its drive" {
  two_locations
  room_of b 107374182400 107374182400
  room_of a 1073741824 107374182400
  room_of e 1073741824 107374182400
  ask_pretended drives task Capture
  expect_code 0
  expect_data "Capture	#2	b	the best, as none is set	$PWD/b"
  ask drives task Capture a
  expect_code 0
  expect_data "set Capture: $PWD/a (in $MISCDISC_HOME/state.toml)"
  [ "$(miscdisc config get --section Preferences "Media Location (Capture)")" = "$PWD/a" ]
  ask --dry-run drives task Capture b --json
  [ "$(jq -c '.changes[0] | [.action, .drive, .task]' data)" = '["set","#2","Capture"]' ]
  ask --dry-run drives task Capture --clear --json
  [ "$(jq -c '.changes[0] | [.action, .drive, .task]' data)" = '["clear",null,"Capture"]' ]
  ask_pretended drives task Capture
  expect_data "Capture	#1	a	set	$PWD/a"
  ask drives task --json
  [ "$(jq -c . data)" = "{\"schema\":\"miscdisc.tasks/1\",\"tasks\":[{\"task\":\"Capture\",\"drive\":\"#1\",\"path\":\"$PWD/a\"}]}" ]
  rm -r a
  ask_pretended drives task Capture
  expect_code 0
  expect_data "Capture	#2	b	the best, instead of its own	$PWD/b"
  expect_words "drive #1 is not present"
  ask drives remove a
  expect_words "the task Capture still has $PWD/a."
  ask drives task
  expect_data "Capture	-	no drive now	$PWD/a"
  expect_words "the task Capture is to use $PWD/a, which is no drive now."
  ask drives task Capture --clear
  expect_code 0
  expect_data "cleared Capture: $PWD/a (in $MISCDISC_HOME/state.toml)"
  ask drives task
  [ ! -s data ]
  ask drives task Capture --clear
  expect_code 0
  expect_words "nothing is set for the task Capture."
}

@test "what is no task, or no drive, is refused" {
  two_locations
  rm -r b
  for name in $'a\nb' $'a\xff' ""; do
    ask drives task "$name" a
    expect_code 2
  done
  ask drives task ""
  expect_code 2
  expect_words "a task's name was expected"
  ask drives task Capture ""
  expect_code 4
  ask drives task --clear
  expect_code 2
  ask drives task Capture a --clear
  expect_code 2
  ask drives task Capture none
  expect_code 4
  ask drives task Capture b
  expect_code 3
  [ ! -e "$MISCDISC_HOME/state.toml" ]
  mkdir "$MISCDISC_HOME/state.toml"
  ask drives task Capture a
  [ "$code" -ne 0 ]
}

@test "locations are saved and restored" {
  two_locations
  rm -r b
  ask drives save saved
  expect_code 0
  expect_data "wrote #1: $PWD/a/ (in $PWD/saved)" "wrote #2: $PWD/b/ (in $PWD/saved)"
  diff <(printf '%s/\n' "$PWD/a" "$PWD/b") saved
  ask drives save saved
  expect_code 7
  expect_words "$PWD/saved exists.  To replace it, say --yes"
  ask drives save saved --yes
  expect_code 0
  rm "$locations"
  ask drives restore saved
  expect_code 3
  expect_data "added #1: $PWD/a/ (in $locations)" "added #2: $PWD/b/ (in $locations)"
  expect_words "#2 is listed, but could not be mounted: $PWD/b does not exist."
  cmp saved "$locations"
  ask drives restore saved
  expect_code 0
  [ ! -s data ]
  expect_words "$PWD/a is there already, as the location #1 (a), $PWD/a."
  cmp saved "$locations"
}

@test "what is restored may come through a pipe, and is no folder" {
  two_locations
  rm "$locations"
  ask drives restore <(printf '%s/\n' "$PWD/b" "$PWD/a")
  expect_code 0
  diff <(printf '%s/\n' "$PWD/b" "$PWD/a") "$locations"
  ask drives restore a
  expect_code 1
  expect_words "$PWD/a could not be read: Is a directory."
  truncate -s 65M large
  ask drives restore large
  expect_code 1
  expect_words "$PWD/large could not be read: File too large."
  printf x >large
  chmod 000 large
  ask_unprivileged drives restore large
  expect_code 1
  expect_words "$PWD/large could not be read: Permission denied."
}

@test "restoring counts what others add meanwhile once" {
  two_locations
  mkdir c d other
  mkfifo saved
  miscdisc --timeout 60 drives restore saved >data 2>words 3>&- &
  exec 9>saved # when somebody reads, which is after the list was read
  printf '%s/\n' "$PWD/other" >>"$locations"
  printf '%s/\n' "$PWD/c" "$PWD/d" >&9
  exec 9>&-
  wait $!
  expect_data "added #4: $PWD/c/ (in $locations)" "added #5: $PWD/d/ (in $locations)"
  [ "$(drive_ids)" = "E #1 #2 #3 #4 #5" ]
}

@test "folders of one file that lie inside each other need --yes" {
  two_locations
  mkdir -p c/sub
  cp "$locations" before
  printf '%s/\n' "$PWD/c" "$PWD/c/sub" >saved
  ask drives restore saved
  expect_code 7
  expect_words "$PWD/c/sub lies inside the location #3 (c), $PWD/c, so that files would be listed twice."
  [ ! -s data ]
  cmp before "$locations"
  ask drives restore saved --yes
  expect_code 0
  [ "$(drive_ids)" = "E #1 #2 #3 #4" ]
}

@test "what was restored and what not is said without a contradiction" {
  two_locations
  mkdir c
  printf '%s/\n' "$PWD/a" "$PWD/c" "$PWD/none" >saved
  ask --dry-run drives restore saved
  expect_code 3
  expect_words "#4 would be listed, but not mounted: $PWD/none does not exist."
  ask drives restore saved
  expect_code 3
  expect_none "Nothing was added" words
}

@test "a lettered volume that is listed is saved in its place" {
  two_locations
  printf '%s/\n' "$PWD/b" "$PWD/e" "$PWD/a" >"$locations"
  ask drives save saved
  expect_code 0
  cmp "$locations" saved
  expect_data "wrote #1: $PWD/b/ (in $PWD/saved)" "wrote E: $PWD/e/ (in $PWD/saved)" \
    "wrote #3: $PWD/a/ (in $PWD/saved)"
}

@test "a saved list may have any line ends, and folders twice" {
  two_locations
  rm "$locations"
  printf '\xef\xbb\xbf%s\r\n\r\n%s/\n%s/' "$PWD/a" "$PWD/b" "$PWD/./a" >saved
  ask drives restore saved
  expect_code 0
  diff <(printf '%s/\n' "$PWD/a" "$PWD/b") "$locations"
}

@test "a file that is no list of folders restores nothing" {
  two_locations
  printf '%s/\nrubbish\n' "$PWD/e" >saved
  snapshot >snapshot.before
  ask drives restore saved
  expect_code 2
  expect_words "$PWD/saved:2: the full path of a folder was expected, not \"rubbish\""
  ask drives restore none
  expect_code 4
  for command in save restore; do
    ask drives $command ""
    expect_code 2
    expect_words "FILE is empty"
  done
  ask drives save none/saved
  expect_code 1
  expect_words "$PWD/none/saved could not be written: nothing can be written in "
  ask drives save a --yes
  expect_code 1
  expect_words "$PWD/a could not be written: it is a folder."
  mkfifo pipe
  ask drives save pipe --yes
  expect_code 1
  expect_words "$PWD/pipe could not be written: it is no plain file.  Give the name of a file"
  [ -p pipe ]
  mkdir a/sub
  printf '%s/\n' "$PWD/a/sub" >inside
  ask drives restore inside
  expect_code 7
  rm inside
  rmdir a/sub
  cmp "$locations" <(printf '%s/\n' "$PWD/a" "$PWD/b")
}

@test "--dry-run says what would be changed, and changes not one byte" {
  two_locations
  mkdir c
  printf '%s/\n' "$PWD/c" >saved
  printf '%s/\n' "$PWD/none" >"$hidden"
  miscdisc -q config set "Media Location (Capture)" "$PWD/a" --section Preferences
  rmdir b/Sound
  snapshot >snapshot.before
  check_dry() { # EXPECTED ARGUMENT...
    local expected=$1
    shift
    ask --dry-run drives "$@"
    expect_code 0
    expect_data "$expected"
    snapshot | diff snapshot.before -
  }
  check_dry "would add #3: $PWD/c/ (in $locations)" add c
  check_dry "would remove #1: $PWD/a/ (in $locations)" remove a
  check_dry "would hide E: $PWD/e/ (in $hidden)" remove E
  check_dry "would unhide $PWD/none/ (in $hidden)" unhide none
  check_dry "would rename #1: $PWD/a \"N\" (in $PWD/a/Material/MediaSpaceInfo.txt)" rename a N
  check_dry "would make #2: $PWD/b/Sound" prepare b
  check_dry "would set Capture: $PWD/b (in $MISCDISC_HOME/state.toml)" task Capture b
  check_dry "would clear Capture: $PWD/a (in $MISCDISC_HOME/state.toml)" task Capture --clear
  check_dry "would write #1: $PWD/a/ (in $PWD/new)
would write #2: $PWD/b/ (in $PWD/new)" save new
  check_dry "would add #3: $PWD/c/ (in $locations)" restore saved
  ask --dry-run drives add c --json
  [ "$(jq -c '[.dry_run, .changes[0].action]' data)" = '[true,"add"]' ]
  rm -r "$MISCDISC_HOME/projects"
  ask --dry-run drives add c
  expect_code 0
  [ ! -e "$MISCDISC_HOME/projects" ]
}

@test "changing leaves nothing but what was said" {
  two_locations
  mkdir c
  ask drives add c
  ask drives remove c
  ask drives remove E
  ask drives unhide E
  rm words data home/miscdisc.log
  find . -type f | sort | diff - <(printf '%s\n' ./home/config.toml \
    ./home/projects/DefNetDrive.txt ./home/projects/UnmountedDrives.txt)
  diff <(printf '%s/\n' "$PWD/a" "$PWD/b") "$locations"
  [ ! -s "$hidden" ]
}
