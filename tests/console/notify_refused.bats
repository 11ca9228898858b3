# What a NATS server refuses, or does not answer, and that nothing hangs for it.
load setup
load machines
load bus
load nats

setup_file() { export BATS_TEST_TIMEOUT=240; }

teardown() {
  end_started
  end_nats
}

# Tells the others of a file, meanwhile, as that waits for the server.
start_recording() {
  : >media/Material/A001.mxf
  miscdisc cache add ann_sees/Material/A001.mxf >recorded 2>refused 3>&- &
  recording=$!
}

# Nobody hears of the file, and everything else goes on.
expect_only_local_work() { # WORDS
  ask find A001.mxf
  expect_code 0
  ask lobby show
  expect_code 0
  code=0
  wait "$recording" || code=$?
  expect_code 1
  [ ! -s recorded ]
  grep -qF "the others were not told: $1" refused || { cat refused; return 1; }
}

@test "a wrong password is said, and local work goes on" {
  two_machines_and_a_server
  setup_as_administrator
  echo "$alpha_user:guessed" >"$MISCDISC_HOME/credentials"
  start_recording
  [[ "$(messenger_line)" = "messenger	nats: $nats_url refuses these credentials: "* ]]
  expect_none guessed data
  ask status --json
  [ "$(jq -c '[.messenger.engine, .messenger.connected]' data)" = '["nats",false]' ]
  expect_only_local_work "$nats_url refuses these credentials"
}

@test "another lobby's user is told so, and local work goes on" {
  two_machines_with_a_drive
  mkdir net/Beta
  touch net/Beta/DefNetDrive.txt
  miscdisc -q notify setup >alpha
  miscdisc -q notify setup --lobby Beta >beta
  start_nats alpha beta
  setup_as_administrator
  use_nats "$MISCDISC_HOME" "$(sed -n 's/.*user: "\([^"]*\)".*/\1/p' beta):secret"
  start_recording
  local line
  line=$(messenger_line)
  [[ "$line" = "messenger	nats: the server does not let this user work in the lobby: "* ]]
  [[ "$line" = *"use the lobby's own credentials"* ]]
  expect_only_local_work "the server does not let this user work in the lobby"
}

@test "a server that is not there is said, and nothing hangs" {
  two_machines_and_a_server
  end_nats
  start_recording
  [[ "$(messenger_line)" = "messenger	nats: no answer from $nats_url: "* ]]
  setup_as_administrator
  expect_code 1
  expect_words "no answer from $nats_url"
  expect_only_local_work "no answer from $nats_url"
}

@test "a server that stands still is said, and nothing hangs" {
  two_machines_and_a_server
  setup_as_administrator
  kill -STOP "$nats"
  start_recording
  miscdisc notify setup --run --url "$nats_url" --credentials administrator.credentials \
    >made 2>unmade 3>&- &
  local making=$!
  [[ "$(messenger_line)" = "messenger	nats: no answer from $nats_url: "* ]]
  expect_only_local_work "no answer from $nats_url"
  code=0
  wait "$making" || code=$?
  expect_code 1
  grep -qF "no answer from $nats_url" unmade
}

@test "texts that the server refuses were not told, and words and code say so" {
  nats_settings="max_payload: 2048"
  two_machines_and_a_server
  setup_as_administrator
  ask notify send short
  expect_code 0
  ask notify send "$(printf '%04000d' 1)"
  expect_code 1
  [ ! -s data ]
  expect_words "the others were not told: 1 of 1 text was not taken: a text could not be sent: the server takes 2048 bytes at most"
  grep -q "the server takes 2048 bytes at most" "$MISCDISC_HOME/miscdisc.log"
}

@test "who may hear the others and tell them nothing is told so" {
  two_machines_and_a_server '          "miscdisc.Alpha-a94de85b9497535b"'
  setup_as_administrator
  [ "$(messenger_line)" = "messenger	nats: connected to $nats_url" ]
  code=0
  miscdisc notify send hello >data 2>words || code=$?
  expect_code 1
  [ ! -s data ]
  expect_words "the others were not told: "
  grep -q "the server does not let this user work in the lobby" words "$MISCDISC_HOME/miscdisc.log"
}
