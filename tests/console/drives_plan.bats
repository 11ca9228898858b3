# Planning recordings, and checking that there is enough room.
load setup

gib=1073741824

# 10 GiB on E, 20 on #1 and 15 on #2: 60, 120 and 90 minutes of dv25.
planned_drives() {
  two_locations
  room_of e $((10 * gib)) $((100 * gib))
  room_of a $((20 * gib)) $((100 * gib))
  room_of b $((15 * gib)) $((100 * gib))
}

@test "each recording goes to the drive with the most space left" {
  planned_drives
  printf '60@dv25 Interview Ann\n\n# a remark\n30@dv50 \tB roll  \r\n45@dv25 C' >recordings
  ask_pretended drives plan recordings
  expect_code 0
  expect_data "#1	a	60	dv25	10737418240	Interview Ann" "#2	b	30	dv50	10737418240	B roll  " \
    "E	$PWD/e	45	dv25	8053063680	C"
}

@test "--fit best takes the drive with the least room that is enough" {
  planned_drives
  printf '54@dv25 A\n54@dv25 B\n12.5@dv25 C\n' >recordings
  ask_pretended drives plan --fit best recordings
  expect_code 0
  [ "$(cut -f1,3 data | paste -sd' ')" = "E	54 #2	54 #2	12.5" ]
}

@test "what does not fit is named, with exit 8, and the rest is planned" {
  planned_drives
  printf '120@dv25 exactly all\n110@dv25 A\n89@dv25 B\n59@dv25 C\n5@dv25 D\n' >recordings
  ask_pretended drives plan recordings
  expect_code 8
  [ "$(cut -f1,6 data | paste -sd' ')" = "-	exactly all #1	A #2	B E	C #1	D" ]
  expect_words "exactly all does not fit: no drive has 20.0 GiB left after what was planned before it."
}

@test "--json is one document" {
  planned_drives
  printf '60@dv25 N\xff\n6000@dv25 B\n' >recordings
  ask_pretended drives plan - --json <recordings
  expect_code 8
  [ "$(jq -c . data)" = "{\"schema\":\"miscdisc.plan/1\",\"fits\":false,\"recordings\":[{\"name\":\"N�\",\"name_hex\":\"4eff\",\"minutes\":60,\"format\":\"dv25\",\"bytes\":10737418240,\"drive\":\"#1\",\"path\":\"$PWD/a\"},{\"name\":\"B\",\"minutes\":6000,\"format\":\"dv25\",\"bytes\":1073741824000,\"drive\":null,\"path\":null}]}" ]
}

@test "a line that cannot be understood is exit 2, and nothing is planned" {
  planned_drives
  printf '30@dv25 A\n30 dv25 B\n\n0@dv25 C\n30@dv26 D\n30@dv25\n-1@dv25 E\nnan@dv25 F\n1e3@dv25 G\n' >recordings
  ask drives plan recordings
  expect_code 2
  [ ! -s data ]
  expect_words 'recordings:2: minutes, "@" and a format were expected, such as 30@dv25, not "30"'
  expect_words 'recordings:4: minutes, "@" and a format were expected, such as 30@dv25, not "0@dv25"'
  expect_words 'recordings:5: a known format was expected, not "dv26"; the formats are dv25, '
  expect_words 'recordings:6: a name was expected after 30@dv25'
  expect_words 'recordings:7: '
  expect_words 'recordings:8: '
  expect_words 'recordings:9: '
  expect_words 'Nothing was planned.'
}

@test "a file that is not there is exit 4, and one that cannot be read exit 1" {
  planned_drives
  ask drives plan none
  expect_code 4
  expect_words "none could not be read: No such file or directory."
  ask drives plan a
  expect_code 1
  expect_words "a could not be read: Is a directory."
  : >empty
  ask drives plan empty
  expect_code 0
  [ ! -s data ]
}

@test "enough room is exit 0, without a word" {
  planned_drives
  ask_pretended drives check --min-minutes 59@dv25 --min-minutes 29@dv50 --min-free 10GiB
  expect_code 0
  [ ! -s data ]
  [ ! -s words ]
}

@test "a drive that is below is named, with exit 8" {
  planned_drives
  ask_pretended drives check --min-minutes 60@dv25 --min-free 16GiB
  expect_code 8
  expect_data "E	$PWD/e	59 min of dv25 left, not 60	$PWD/e" \
    "E	$PWD/e	10.0 GiB free, not 16.0 GiB	$PWD/e" "#2	b	15.0 GiB free, not 16.0 GiB	$PWD/b"
  ask_pretended drives check --min-minutes 60@dv25 a b
  expect_code 0
  ask_pretended drives check --min-minutes 60@dv25 a e
  expect_code 8
  ask drives check --min-minutes 60@dv25 a none
  expect_code 4
}

@test "a full drive is below, whatever was asked for" {
  planned_drives
  room_of b 2097152 $((100 * gib))
  ask_pretended drives check --min-minutes 0.1@dv25
  expect_code 8
  ask_pretended drives check --min-free 1MiB
  expect_code 8
  expect_data "#2	b	2.0 MiB free, not 1.0 MiB	$PWD/b"
}

@test "sizes have units of 1024 or 1000, or are bytes" {
  planned_drives
  for enough in 10GiB "10 GiB" 10737418240 10737418240B 10485760KiB 10240MiB 10.7GB 10700MB \
    0.0104PB 0.009TiB; do
    ask_pretended drives check --min-free "$enough" e
    [ "$code" -eq "$([ "$enough" = 0.0104PB ] && echo 8 || echo 0)" ] || { echo "$enough"; return 1; }
  done
  for wrong in GiB 10XB 10Gi ten -1 0 1e9 1.2.3; do
    ask drives check --min-free "$wrong" e
    expect_code 2
  done
  expect_words '--min-free: a size was expected, such as 20GiB or 500MB, not "1.2.3".'
  ask drives check --min-minutes 30
  expect_code 2
  expect_words '--min-minutes: minutes, "@" and a format were expected, such as 30@dv25, not "30".'
  ask drives check
  expect_code 2
  expect_words "nothing says how much is enough"
}

@test "one that could not be asked is exit 3, unless another is below" {
  planned_drives
  rm -r b
  ask_pretended drives check --min-minutes 50@dv25
  expect_code 3
  [ ! -s data ]
  expect_words "drive #2 is not present"
  ask_pretended drives check --min-minutes 100@dv25
  expect_code 8
  ask_pretended drives check --min-minutes 50@dv25 E
  expect_code 0
}

@test "check --json is one document" {
  planned_drives
  rm -r b
  ask_pretended drives check --min-minutes 60@dv25 --min-free 16GiB --json
  expect_code 8
  [ "$(jq -c . data)" = "{\"schema\":\"miscdisc.check/1\",\"drives\":[{\"id\":\"E\",\"name\":\"$PWD/e\",\"path\":\"$PWD/e\",\"state\":\"ok\",\"below\":[{\"format\":\"dv25\",\"minutes\":59,\"least\":60},{\"free\":10737418240,\"least\":17179869184}]},{\"id\":\"#1\",\"name\":\"a\",\"path\":\"$PWD/a\",\"state\":\"ok\",\"below\":[]},{\"id\":\"#2\",\"name\":\"b\",\"path\":\"$PWD/b\",\"state\":\"not present\",\"below\":[]}]}" ]
}

@test "check names a drive once, and what is unknown is null" {
  planned_drives
  room_of b 2097152 $((100 * gib))
  ask_pretended drives check --min-minutes 1@dv25 b "#2" --json
  expect_code 8
  [ "$(jq -c '[.drives[] | [.id, .state, .below]]' data)" = '[["#2","full",[{"format":"dv25","minutes":null,"least":1}]]]' ]
}

@test "more minutes than anybody records are exit 2" {
  planned_drives
  printf '999999999999999999@dv25 A\n' >recordings
  ask drives plan recordings
  expect_code 2
  expect_words 'recordings:1: at most 1000000000 minutes were expected, not "999999999999999999@dv25"'
  ask drives check --min-minutes 1000000001@dv25
  expect_code 2
}

@test "a drive whose folder is still to be made shares the room of the folder that it comes to lie in" {
  mkdir -p a/Material a/Sound "$MISCDISC_HOME/projects"
  printf '%s/\n' "$PWD/a" >"$MISCDISC_HOME/projects/DefNetDrive.txt"
  printf '0.001@dv25 A\n' >recordings
  ask drives plan recordings
  [ ! -e "$MISCDISC_HOME/media" ]
  expect_words "E, #1 lie on one file system: its room is there once"
}

@test "drives that share a file system are named" {
  planned_drives
  printf '1@dv25 A\n' >recordings
  ask_pretended drives plan recordings
  expect_code 0
  expect_words "E, #1, #2 lie on one file system: its room is there once, and is counted for each of them."
  rm "$locations"
  ask_pretended drives plan recordings
  [ ! -s words ]
}
