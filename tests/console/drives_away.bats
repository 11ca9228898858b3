# A mount that does not answer.
load setup
load hanging

# Location #2, "b", stops answering once it was there.
hanging_b() {
  two_locations
  rm -r b/Material b/Sound
  hang_on b
}

teardown() { end_hanging; }

@test "a mount that does not answer is shown as such, and the others are complete" {
  hanging_b
  ask_hanging drives list
  expect_code 3
  cut -f1,2,7,8 data | sed -E 's/answering [1-9][0-9]* s/answering N s/' |
    diff <(printf '%s\n' "E	$PWD/e	ok	$PWD/e" "#1	a	ok	$PWD/a" "#2	b	not answering N s	$PWD/b") -
  expect_words "drive #2 is not answering: nothing came from $PWD/b in 1 s.  Look at its mount or server"
  ask_hanging drives list --json
  [ "$(jq -c '.drives[2] | [.free, .capacity, .minutes.dv25, .full]' data)" = '[null,null,null,null]' ]
  [[ "$(jq -r .drives[2].state data)" =~ ^"not answering "[1-9][0-9]*" s"$ ]]
  ask_hanging --timeout 0.1 drives show b
  grep -qE "^state	not answering" data
  kill -USR2 $server
  ask_hanging drives list
  expect_code 0
  grep -qx "#2	b	1073741824	3221225472	5	0	low	$PWD/b" data
}

@test "no command waits for it" {
  hanging_b
  mkdir c
  printf '1@dv25 A\n' >recordings
  ask_hanging --timeout 0.3 status
  expect_code 3
  grep -q "^warning	drive #2 is not answering" data
  for command in "find x" "cache stats" "drives check --min-minutes 1@dv25" "drives rename b N" \
    "drives prepare b" "drives task Capture b" "drives add b/Material"; do
    ask_hanging --timeout 0.3 $command
    expect_code 3
    expect_words "is not answering: nothing came from"
  done
  ask_hanging drives best
  expect_code 0
  ask_hanging drives plan recordings
  expect_code 0
  ask_hanging drives save saved
  expect_code 0
  ask_hanging drives add c
  expect_code 0
  ask_hanging drives remove b
  expect_code 0
  diff <(printf '%s/\n' "$PWD/a" "$PWD/c") "$locations"
  ask_hanging drives restore saved
  expect_code 3
  expect_words "could not be mounted: $PWD/b is not answering: nothing came from it in 1 s."
}

@test "a lettered volume that does not answer is hidden like any other" {
  hanging_b
  printf 'F = "%s"\n' "$PWD/b" >>"$MISCDISC_HOME/config.toml"
  rm "$locations"
  ask_hanging drives remove F
  expect_code 0
  diff <(printf '%s/\n' "$PWD/b") "$hidden"
  ask_hanging drives list
  expect_code 0
  [ "$(cut -f1 data)" = E ]
}

@test "a media folder that is a mount of its own keeps nobody waiting" {
  two_locations
  printf '%s/\n' "$PWD/a" >"$locations"
  hang_on a/Material
  ask_hanging drives list
  expect_code 3
  grep -q "^#1	a	.*	not answering [1-9][0-9]* s	$PWD/a$" data
}

@test "nor does one that is not listed yet, or is added" {
  two_locations
  mkdir -p c/Material c/Sound
  printf '%s/\n' "$PWD/c" >saved
  cp "$locations" before
  hang_on c/Sound
  for name in "" "--name N"; do
    ask_hanging --timeout 0.3 drives add c $name
    expect_code 3
    expect_words "$PWD/c is not answering: nothing came from it in 0.3 s."
  done
  cmp before "$locations"
  ask_hanging drives restore saved
  expect_code 3
  expect_data "added #3: $PWD/c/ (in $locations)"
  expect_words "#3 is listed, but could not be mounted: $PWD/c is not answering: nothing came from it in 1 s."
  ask_hanging --timeout 0.3 drives prepare "#3"
  expect_code 3
  ask_hanging --timeout 0.3 find x
  expect_code 3
  ask_hanging drives list
  expect_code 3
  grep -q "^#3	c	.*	not answering [1-9][0-9]* s	$PWD/c$" data
}

@test "a file on a mount that does not answer keeps nobody waiting" {
  hanging_b
  for command in "save b/saved" "restore b/saved" "plan b/recordings"; do
    ask_hanging --timeout 0.3 drives $command
    expect_code 3
    expect_words "is not answering: nothing came from it in 0.3 s."
    [ ! -s data ]
  done
}

@test "a link into a mount that does not answer is no unknown drive" {
  hanging_b
  ln -s "$PWD/b" link
  ask_hanging --timeout 0.3 drives show link
  expect_code 3
  expect_words "$PWD/link is not answering"
  ask_hanging --timeout 0.3 find x --volume link
  expect_code 3
  ask_hanging drives show nope
  expect_code 4
}

@test "a project space that does not answer is said, and the volumes are shown" {
  hanging_b
  miscdisc -q config set "network project root" "$PWD"
  miscdisc -q config set "network lobby name" b
  ask_hanging drives list
  expect_code 3
  [ "$(cut -f1 data)" = E ]
  expect_words "$PWD/b/DefNetDrive.txt is on a mount that does not answer"
  ask_hanging --timeout 0.3 status
  expect_code 3
  grep -q "^warning	$PWD/b/DefNetDrive.txt is on a mount that does not answer" data
  ask_hanging --timeout 0.3 drives add a
  expect_code 1
  expect_words "Nothing was added."
}
