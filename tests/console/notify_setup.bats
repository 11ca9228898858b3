# Texts between two machines over a NATS server, and what an administrator does for it.
load setup
load machines
load bus
load nats

setup_file() { export BATS_TEST_TIMEOUT=240; }

teardown() {
  end_started
  end_nats
}

@test "setup says what the server needs for the lobby" {
  two_machines_with_a_drive
  ask notify setup
  expect_code 0
  expect_words "an administrator's --credentials"
  [ "$(head -n 4 data)" = "stream	miscdisc-Alpha-a94de85b9497535b
subject	miscdisc.Alpha-a94de85b9497535b
command	miscdisc notify setup --lobby Alpha --run
    # The lobby \\\\nas\\projects\\Alpha" ]
  grep -qF '{ user: "Alpha-a94de85b9497535b", password: "CHANGE ME", permissions: {' data
  ask -q notify setup --url "tls://nas:4222" --credentials "it's mine" --ca ca.pem
  [ ! -s words ]
  grep -qxF "command	miscdisc notify setup --lobby Alpha --url tls://nas:4222 --credentials 'it'\"'\"'s mine' --ca ca.pem --run" data
  mkdir "net/Two Words"
  touch "net/Two Words/DefNetDrive.txt"
  ask notify setup --lobby "Two Words"
  grep -qx "command	miscdisc notify setup --lobby 'Two Words' --run" data
  grep -q "^stream	miscdisc-Two-Words-................$" data
}

@test "setup with --json is one document" {
  two_machines_with_a_drive
  ask notify setup --json
  expect_code 0
  [ "$(jq -c '[.schema, .dry_run, .lobby, .group, .stream, .subject, .command, .there]' data)" = \
    '["miscdisc.notify_setup/1",false,"Alpha","\\\\nas\\projects\\Alpha","miscdisc-Alpha-a94de85b9497535b","miscdisc.Alpha-a94de85b9497535b","miscdisc notify setup --lobby Alpha --run",null]' ]
  jq -r .server_configuration data >lines
  miscdisc -q notify setup | tail -n +4 | diff - <(head -n -1 lines)
}

@test "setup needs a lobby" {
  two_machines
  ask notify setup
  expect_code 2
  expect_words "works in no lobby"
  ask notify setup --lobby Nope
  expect_code 4
}

@test "an administrator makes the stream, and the machines of the lobby hear each other" {
  two_machines_and_a_server
  setup_as_administrator --dry-run
  expect_code 0
  expect_data "would make the stream miscdisc-Alpha-a94de85b9497535b"
  [[ "$(messenger_line)" = *"has no stream"* ]]
  local time
  for time in first second; do
    setup_as_administrator
    expect_code 0
    expect_data "the stream miscdisc-Alpha-a94de85b9497535b is there"
  done
  setup_as_administrator --json
  [ "$(jq .there data)" = true ]
  [ "$(messenger_line)" = "messenger	nats: connected to $nats_url" ]

  start_listening
  ask notify send "hello there"
  expect_code 0
  expect_data "told lobby Alpha: hello there"
  expect_heard "text	hello there"
  : >media/Material/A001.mxf
  ask cache add ann_sees/Material/A001.mxf
  expect_code 0
  expect_heard "added	$PWD/bob_sees/Material/A001.mxf"
  [ "$(wc -l <bob.data)" -eq 2 ]
  # Who comes in does not know what was said before.
  [ "$(messenger_line)" = "messenger	nats: connected to $nats_url; rescans 1" ]
  ask status --json
  [ "$(jq -c '.messenger | [.sent, .received, .waiting, .dropped, .rescans]' data)" = "[0,0,0,0,1]" ]
}

@test "the administrator's access may stand in the settings" {
  two_machines_with_a_drive
  start_nats
  use_nats "$MISCDISC_HOME" administrator:ruling
  ask notify setup --run
  expect_code 0
  ask notify setup --run --credentials nowhere
  expect_code 1
  expect_words "the credentials file nowhere cannot be read"
}

@test "who is no administrator makes no stream, and is told so" {
  two_machines_and_a_server
  ask notify setup --run
  expect_code 1
  [ ! -s data ]
  expect_words "the stream miscdisc-Alpha-a94de85b9497535b was not made: "
  expect_words "Making it takes an administrator's credentials: name their file with --credentials"
  echo administrator:guessed >wrong
  ask notify setup --run --credentials wrong
  expect_code 1
  expect_words "$nats_url refuses these credentials"
}

@test "a stream that is missing is said with the command that makes it" {
  two_machines_and_a_server
  local why='an administrator makes it with: miscdisc notify setup --lobby Alpha --run'
  [[ "$(messenger_line)" = "messenger	nats: the server has no stream for the lobby "*": $why" ]]
  code=0
  miscdisc notify send hello >data 2>words || code=$?
  expect_code 1
  expect_words "the others were not told: the server has no stream"
  expect_words "$why"
}

@test "a plug-in that is missing, or its library, is said with the package to install" {
  two_machines_with_a_drive
  printf '[messenger]\nengine = "nats"\nurl = "nats://127.0.0.1:1"\n' >>"$MISCDISC_HOME/config.toml"
  local built
  built=$(dirname "$MISCDISC_COMMAND")/../lib
  mkdir libraries
  cp "$built/libmiscdisc_host.so.0" libraries # looks beside itself
  export LD_LIBRARY_PATH=$PWD/libraries
  ask notify send hello
  expect_code 1
  expect_words "libmiscdisc_nats.so: cannot open shared object file: No such file or directory: install the package libmiscdisc-nats"
  cp "$built/libmiscdisc_nats.so" libraries
  : >"libraries/$(ldd libraries/libmiscdisc_nats.so | grep -o 'libnats\.so[^ ]*' | head -n 1)"
  ask notify send hello
  expect_code 1
  expect_words "file too short: install the packages libnats3.4 and, of this version, libmiscdisc-nats"
}
