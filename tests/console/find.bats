load setup

@test "every place that has a name is listed, volume by volume" {
  three_volumes
  ask find A001.mxf B002.wav
  expect_code 0
  expect_data \
    "A001.mxf	E	material	$PWD/e/Material/A001.mxf	3	2026-01-02T03:04:05Z" \
    "A001.mxf	F	sound	$PWD/f/Sound/A001.mxf	4	2026-01-02T03:04:05Z" \
    "B002.wav	G	sound	$PWD/g/Sound/B002.wav	0	2026-01-02T03:04:05Z"
  [ ! -s words ]
}

@test "--json is one document" {
  three_volumes
  ask find A001.mxf --volume F --json
  expect_code 0
  [ "$(jq -c . data)" = "{\"schema\":\"miscdisc.find/1\",\"files\":[{\"name\":\"A001.mxf\",\"volume\":\"F\",\"folder\":\"sound\",\"path\":\"$PWD/f/Sound/A001.mxf\",\"size\":4,\"modified\":\"2026-01-02T03:04:05Z\"}]}" ]
}

@test "with --volume only that volume answers" {
  three_volumes
  rm -r g
  ask find A001.mxf --volume e
  expect_code 0
  expect_data "A001.mxf	E	material	$PWD/e/Material/A001.mxf	3	2026-01-02T03:04:05Z"
  [ ! -s words ]
}

@test "-v shows the volumes that are read" {
  three_volumes
  ask -v find A001.mxf --volume F
  expect_code 0
  diff <(printf 'Added media location : %s/\n' "$PWD/f") words
  ask -v cache stats
  expect_code 0
  diff <(printf 'Added media location : %s/\n' "$PWD/e" "$PWD/f" "$PWD/g") words
  ask find A001.mxf
  [ ! -s words ]
}

@test "an unknown drive is a usage error that names the known ones" {
  three_volumes
  ask find A001.mxf --volume Q
  expect_code 2
  expect_words "there is no drive Q.  The drives are E ($PWD/e), F ($PWD/f), G ($PWD/g)."
}

@test "a name that is nowhere is exit 4, and the others are still listed" {
  three_volumes
  ask find A001.mxf none.mxf --volume E
  expect_code 4
  expect_data "A001.mxf	E	material	$PWD/e/Material/A001.mxf	3	2026-01-02T03:04:05Z"
  expect_words "none.mxf is nowhere: not in Material or Sound of E."
}

@test "a hidden volume is named where a file is not found" {
  three_volumes
  ask drives remove F
  ask drives remove G
  ask find B002.wav
  expect_code 4
  expect_words 'hidden here: F, G; "miscdisc drives unhide F" shows it again'
  ask find A001.mxf
  expect_code 0
  [ ! -s words ]
  ask find B002.wav --volume E
  expect_code 4
  ! grep -q hidden words
}

@test "letter case counts" {
  three_volumes
  ask find a001.mxf
  expect_code 4
}

@test "an absent volume is exit 3, and the others answer" {
  three_volumes
  rm -r g
  ask find A001.mxf
  expect_code 3
  [ "$(wc -l <data)" -eq 2 ]
  expect_words "drive G is not present: $PWD/g is no folder."
}

@test "a name that was not found may be on the absent volume: exit 3" {
  three_volumes
  rm -r g
  ask find B002.wav
  expect_code 3
  expect_words "B002.wav is nowhere that could be read"
}

@test "a folder without permission is exit 3, and the others answer" {
  three_volumes
  chmod 000 f/Sound
  ask_unprivileged find A001.mxf
  chmod 755 f/Sound
  expect_code 3
  expect_data "A001.mxf	E	material	$PWD/e/Material/A001.mxf	3	2026-01-02T03:04:05Z"
  expect_words "$PWD/f/Sound/ could not be read."
}

@test "what was read before a failure is found, and that is exit 3" {
  three_volumes
  code=0
  LD_PRELOAD="$BROKEN_READS" "$MISCDISC_COMMAND" find A001.mxf none.mxf --volume E >data 2>words ||
    code=$?
  expect_code 3
  expect_data "A001.mxf	E	material	$PWD/e/Material/A001.mxf	3	2026-01-02T03:04:05Z"
  expect_words "$PWD/e/Material/ could not be read."
  expect_words "none.mxf is nowhere that could be read"
}

@test "a volume that may not be entered is exit 3" {
  three_volumes
  chmod 600 f
  ask_unprivileged find A001.mxf
  chmod 755 f
  expect_code 3
  expect_words "$PWD/f/Sound/ could not be read."
}

@test "a volume without media folders holds nothing, and that is no failure" {
  three_volumes
  rm -r f/Material f/Sound
  ask find A001.mxf
  expect_code 0
  [ "$(wc -l <data)" -eq 1 ]
}

@test "names with line ends and bytes that are not UTF-8 stay one line, and exact in --json" {
  three_volumes
  name=$'bad\xffname\n\t\\.mxf'
  touch "e/Material/$name"
  ask find "$name"
  expect_code 0
  [ "$(cut -f1 data)" = 'bad\xFFname\n\t\\.mxf' ]
  [ "$(wc -l <data)" -eq 1 ]

  ask find "$name" --json
  expect_code 0
  python3 - "$PWD" <<'END'
import json, os, sys
file = json.load(open("data", encoding="utf-8"))["files"][0]
assert file["name"] == "bad\ufffdname\n\t\\.mxf", file
assert bytes.fromhex(file["name_hex"]) == b"bad\xffname\n\t\\.mxf", file
assert os.stat(bytes.fromhex(file["path_hex"])), file
END
}

@test "a control sequence never reaches the terminal" {
  three_volumes
  touch e/Material/$'\e[31m\xc2\x9b.mxf'
  ask find $'\e[31m\xc2\x9b.mxf'
  [ "$(cut -f1 data)" = '\x1B[31m\xC2\x9B.mxf' ]
}

@test "find without a name is a usage error" {
  ask find
  expect_code 2
  expect_words "NAME is required"
}

@test "a reader that goes away ends the command quietly" {
  three_volumes
  for i in $(seq 3000); do : >"e/Material/file$i"; done
  miscdisc find $(cd e/Material && echo file*) 2>words | head -n 1 >data
  [ "$(wc -l <data)" -eq 1 ]
  [ ! -s words ]
  miscdisc find A001.mxf >&- 2>words
  [ ! -s words ]
}

@test "a pipe that is set not to wait gets everything all the same" {
  three_volumes
  for i in $(seq 3000); do : >"e/Material/file$i"; done
  # Nobody reads before the pipe is full.
  python3 - <<'END'
import os, select, subprocess, time
ours, theirs = os.pipe()
os.set_blocking(theirs, False)
names = [f"file{i}" for i in range(1, 3001)]
command = [os.environ["MISCDISC_COMMAND"], "--timeout", "60", "find", *names]
child = subprocess.Popen(command, stdout=theirs)
while select.select([], [theirs], [], 0)[1] and child.poll() is None:
    time.sleep(0.01)
os.close(theirs)
lines = os.fdopen(ours).read().splitlines()
assert child.wait() == 0, child.returncode
assert len(lines) == 3000, len(lines)
END
}

@test "a full disk under standard output is a failure" {
  three_volumes
  code=0
  miscdisc find A001.mxf 2>words >/dev/full || code=$?
  expect_code 1
  expect_words "standard output cannot be written: No space left on device"
}

@test "on a terminal columns are aligned under a heading, in colour unless refused" {
  three_volumes
  TERM=xterm script -qec "$MISCDISC_COMMAND find B002.wav" /dev/null </dev/null >data
  grep -q $'\e\[1mNAME      VOLUME  FOLDER' data
  NO_COLOR=1 TERM=xterm script -qec "$MISCDISC_COMMAND find B002.wav" /dev/null </dev/null >data
  grep -q '^NAME      VOLUME  FOLDER' data
  TERM=xterm script -qec "$MISCDISC_COMMAND --plain find B002.wav" /dev/null </dev/null >data
  grep -q '^B002.wav	G	sound' data
}
