# Texts between two machines on a bus.
load setup
load machines
load bus

setup_file() { export BATS_TEST_TIMEOUT=120; }

teardown() {
  end_started
  end_bus
}

@test "what one machine sends the others hear, whatever it holds" {
  start_bus
  two_machines_with_a_drive
  start_listening
  head -n 1 bob.words | grep -qE '^miscdisc: (connecting to .* \.\.\.|listening to .*)$'
  expect_none 'not listening' bob.words
  ask notify send "hello there"
  expect_code 0
  expect_data "told lobby Alpha: hello there"
  expect_heard "text	hello there"
  miscdisc --timeout 60 notify send $'tab\tand \x01 and \xff and a \\'
  expect_heard 'text	tab\tand \x01 and \xFF and a \\'
  miscdisc --timeout 60 notify send ""
  expect_heard "text	"
  miscdisc --timeout 60 notify send --rescan
  expect_heard "rescan	"
}

@test "a name that has no form for every machine has them read again" {
  start_bus
  two_machines_with_a_drive
  start_listening
  touch 'media/Material/a\b.mxf'
  ask cache add 'ann_sees/Material/a\b.mxf'
  expect_code 0
  expect_data "told lobby Alpha: read every folder again"
  expect_heard "rescan	"
  ask notify send --dry-run --removed 'ann_sees/Material/a\b.mxf'
  expect_data "would tell lobby Alpha: read every folder again"
}

has_heard() { [ "$(grep -c "^$2	" bob.data)" -eq "$1" ]; } # NUMBER KIND

@test "what programs tell that end at once is heard to the last of it" {
  start_bus
  two_machines_with_a_drive
  start_listening
  local files=(media/Material/{1001..1600}.mxf)
  touch "${files[@]}"
  printf '%s\n' "${files[@]/media/ann_sees}" |
    xargs -n 40 "$MISCDISC_COMMAND" --timeout 60 cache add >told
  eventually has_heard 600 added
}

@test "files are called as each machine calls them" {
  start_bus
  two_machines_with_a_drive
  start_listening
  ask notify send --added ann_sees/Material/A001.mxf
  expect_code 0
  expect_data "told lobby Alpha: added $PWD/ann_sees/Material/A001.mxf"
  expect_heard "added	$PWD/bob_sees/Material/A001.mxf"
  miscdisc --timeout 60 notify send --removed "$PWD/ann_sees/Sound/B.wav"
  expect_heard "removed	$PWD/bob_sees/Sound/B.wav"
}

@test "what names no file of this machine is a text like any other" {
  start_bus
  two_machines_with_a_drive
  start_listening
  miscdisc --timeout 60 -q notify send '8 G:/Material/A001.mxf'
  expect_heard 'text	8 G:/Material/A001.mxf'
  miscdisc --timeout 60 -q notify send '9 /etc/passwd'
  expect_heard 'text	9 /etc/passwd'
  miscdisc --timeout 60 -q notify send '8 \\nas\rushes\Material\..\Sound\B.wav'
  expect_heard 'text	8 \\\\nas\\rushes\\Material\\..\\Sound\\B.wav'
  miscdisc --timeout 60 -q notify send '8 \\nas\rushes\Material\\A001.mxf'
  expect_heard 'text	8 \\\\nas\\rushes\\Material\\\\A001.mxf'
  miscdisc --timeout 60 -q notify send '9 \\elsewhere\rushes\A001.mxf'
  expect_heard 'text	9 \\\\elsewhere\\rushes\\A001.mxf'
}

@test "listening with --json is one document a line" {
  start_bus
  two_machines_with_a_drive
  as_bob start bob notify listen --json
  eventually grep -q '"connected":true' bob.data
  miscdisc --timeout 60 notify send --added ann_sees/Material/A001.mxf
  miscdisc --timeout 60 notify send $'\xff'
  miscdisc --timeout 60 notify send --rescan
  eventually grep -q rescan bob.data
  grep -v '"messenger"' bob.data >heard
  [ "$(jq -rc '[.schema, .event, .path, .text, .text_hex]' heard)" = "$(printf '%s\n' \
    '["miscdisc.event/1","file_added","'"$PWD"'/bob_sees/Material/A001.mxf","8 \\\\nas\\rushes\\Material\\A001.mxf",null]' \
    '["miscdisc.event/1","text",null,"�","ff"]' \
    '["miscdisc.event/1","rescan",null,"100 ",null]')" ]
  [ "$(jq -r .time heard | grep -cE '^20..-..-..T..:..:..Z$')" -eq 3 ]
  [ "$(head -n 1 bob.data | jq -c '[.event, .engine, .group]')" = '["messenger","dbus","\\\\nas\\projects\\Alpha"]' ]
}

@test "sending with --json says what was sent, and a dry run sends nothing" {
  start_bus
  two_machines_with_a_drive
  start_listening
  ask notify send --json --dry-run one
  [ "$(jq -c . data)" = '{"schema":"miscdisc.notify/1","dry_run":true,"lobby":"Alpha","texts":[{"text":"one"}]}' ]
  ask notify send --json two
  [ "$(jq -c '[.dry_run, .texts[0].text]' data)" = '[false,"two"]' ]
  expect_heard "text	two"
  [ "$(cat bob.data)" = "text	two" ]
}

@test "a text that is too long was not told, with the reason in the log" {
  start_bus
  two_machines_with_a_drive
  ask notify send "$(printf '%0100000d' 1)"
  expect_code 1
  [ ! -s data ]
  expect_words "the others were not told: 1 of 1 text was not taken: a text of 100000 bytes"
  grep -q "a text of 100000 bytes was not sent" "$MISCDISC_HOME/miscdisc.log"
}

@test "only those in the lobby hear" {
  start_bus
  two_machines_with_a_drive
  mkdir net/Beta
  touch net/Beta/DefNetDrive.txt
  start_listening --lobby Beta
  miscdisc --timeout 60 notify send "for Alpha"
  miscdisc --timeout 60 notify send --lobby Beta "for Beta"
  expect_heard "text	for Beta"
  [ "$(wc -l <bob.data)" -eq 1 ]
}

@test "listening ends by a signal, and when nobody reads any more" {
  start_bus
  two_machines_with_a_drive
  start_listening
  end_with INT "$last"
  expect_code 130
  start_listening
  end_with TERM "$last"
  expect_code 143
  mkfifo pipe
  as_bob env --default-signal=PIPE "$MISCDISC_COMMAND" notify listen >pipe 2>words 3>&- &
  started+=($!)
  head -c 0 <pipe
  code=0
  wait "${started[-1]}" || code=$?
  expect_code 0
}

@test "a reader that does not read keeps it from nothing but printing" {
  start_bus
  two_machines_with_a_drive
  mkfifo pipe
  sleep 1000 <pipe 3>&- &
  started+=($!)
  as_bob env --default-signal=TERM "$MISCDISC_COMMAND" notify listen >pipe 2>bob.words 3>&- &
  last=$!
  started+=("$last")
  eventually grep -q "listening to" bob.words
  local i
  # More than a pipe holds.
  for i in $(seq 20); do miscdisc --timeout 60 notify send "$(printf '%08000d' "$i")" >told; done
  end_with TERM "$last"
  expect_code 143
}

@test "without a messenger it says why" {
  two_machines_with_a_drive
  ask notify send hello
  expect_code 1
  expect_words "the others were not told: there is no session bus"
  ask notify listen
  expect_code 1
  expect_words "nothing can be heard: there is no session bus"
  printf '[messenger]\nengine = "none"\n' >>"$MISCDISC_HOME/config.toml"
  ask notify send hello
  expect_code 1
  expect_words 'engine is "none"'
}

@test "a bus that is not there is told, and not waited for without end" {
  two_machines_with_a_drive
  export DBUS_SESSION_BUS_ADDRESS="unix:path=$PWD/nothing"
  code=0
  miscdisc notify send hello >data 2>words || code=$?
  expect_code 1
  expect_words "the others were not told: no connection to the session bus"
}

@test "where there is no lobby there is nobody to tell" {
  two_machines
  ask notify send hello
  expect_code 2
  expect_words "works in no lobby"
  ask notify send --lobby Nope hello
  expect_code 4
  ask notify send --lobby a/b hello
  expect_code 2
  ask notify send
  expect_code 2
  ask notify send hello --rescan
  expect_code 2
}

@test "recording a file tells the others, reading nothing" {
  start_bus
  two_machines_with_a_drive
  start_listening
  : >media/Material/A001.mxf
  : >media/Sound/B.wav
  ask cache add ann_sees/Material/A001.mxf ann_sees/Sound/B.wav
  expect_code 0
  expect_heard "added	$PWD/bob_sees/Material/A001.mxf"
  expect_heard "added	$PWD/bob_sees/Sound/B.wav"
  ask cache remove ann_sees/Material/A001.mxf
  expect_code 0
  expect_heard "removed	$PWD/bob_sees/Material/A001.mxf"
  rm media/Sound/B.wav
  ask cache remove ann_sees/Sound/B.wav
  expect_code 0
  expect_heard "removed	$PWD/bob_sees/Sound/B.wav"
}

@test "what is no media file of a drive is not recorded" {
  start_bus
  two_machines_with_a_drive
  ask cache add ann_sees/Material/missing.mxf
  expect_code 4
  expect_words "is not there.  Write the file first, then run this again."
  : >media/x.mxf
  ask cache add ann_sees/x.mxf
  expect_code 4
  expect_words "is in no folder \"Material\" or \"Sound\" of a drive (E)"
  mkdir media/Material/sub
  for command in add remove; do
    ask cache $command ann_sees/Material/sub
    expect_code 2
    expect_words "$PWD/ann_sees/Material/sub is a folder.  Name the files in it"
    [ ! -s data ]
  done
  ask cache add
  expect_code 2
}

@test "with log_incoming_net_messages every text that comes in is in the log" {
  start_bus
  two_machines_with_a_drive
  as_bob miscdisc -q config set log_incoming_net_messages 1
  start_listening
  miscdisc --timeout 60 notify send "for the log"
  expect_heard "text	for the log"
  grep -q "Received: for the log" bob/miscdisc.log
  expect_none "Received" "$MISCDISC_HOME/miscdisc.log"
}
