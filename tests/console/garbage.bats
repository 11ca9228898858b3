# What programs that are none of ours, or broken, may send: nobody who listens is harmed.
load setup
load terminal

control=$'[\x01-\x08\x0b-\x1f\x7f]' # characters that no terminal is to get

raw() { as_bob miscdisc -q notify send "$1" >told; }

# Of every kind, and then a file, which shows that all of it was read.
send_garbage() {
  raw ""
  raw "no message"
  raw "8"
  raw "-8 x"
  raw "7 unknown"
  raw "99999999999999999999 x"
  raw $'8 \xff\xfe\x80'
  raw $'\x1b[2J\x1b]0;owned\x07'
  raw $'9 \n\n8 \n'
  raw '8 G:/Material/A001.mxf'
  raw '9 \\nas\rushes\Material\..\..\x'
  raw '8 \\nowhere\x\y.mxf'
  raw '8 /etc/passwd'
  raw "8 $(printf '%065534d' 8)"
  as_bob miscdisc -q notify send --added bob_sees/Material/last.mxf >told
}

@test "watch and listen go on whatever comes" {
  start_bus
  two_machines_with_a_drive
  start watch watch files
  local watching=$last
  start listen notify listen
  local listening=$last
  start listen_json notify listen --json
  eventually grep -q "listening to" listen.words
  eventually grep -q '"connected":true' watch.data
  eventually grep -q '"connected":true' listen_json.data
  send_garbage
  eventually grep -qxF "added	$PWD/ann_sees/Material/last.mxf" listen.data
  eventually grep -q 'Material/last.mxf' watch.data
  eventually grep -q 'Material/last.mxf' listen_json.data
  # Nothing of it was taken for news of a file, and nothing of it reaches a terminal as it is.
  [ "$(jq -r .event watch.data | sort | uniq -c | awk '{print $2, $1}' | grep -v messenger)" = "file_added 1" ]
  [ "$(grep -c '^added\|^removed' listen.data)" -eq 1 ]
  [ "$(jq -r .event listen_json.data | grep -c '^file_')" -eq 1 ]
  [ "$(grep -c . listen.data)" -eq 15 ]
  expect_none "$control" listen.data listen.words watch.words
  grep -qxF 'text	\x1B[2J\x1B]0;owned\x07' listen.data
  expect_none "$control" "$MISCDISC_HOME/miscdisc.log"
  end_with TERM "$watching"
  expect_code 143
  end_with TERM "$listening"
  expect_code 143
}

@test "a shell goes on whatever comes" {
  start_bus
  two_machines_with_a_drive
  mkfifo lines
  exec 8<>lines
  start ann shell Alpha <lines 8>&-
  local shell=$last
  eventually test -e net/Alpha/ann.cli
  heard() {
    send_garbage
    echo version >&8
    grep -q "others have added [1-9]" ann.words
  }
  eventually heard
  expect_none "$control" ann.words
  expect_none "removed" ann.words
  end_with TERM "$shell"
  expect_code 143
  exec 8>&-
  expect_nothing_held
}
