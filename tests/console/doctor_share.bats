# Whether a share's locks exclude, tried with two processes.
load setup
load hanging

teardown() { end_hanging; }

children_of() { cat "/proc/$1/task/$1/children"; }

results() { cut -f1,2 data; }

# The test in the background, with its signals as on a terminal; it is under way.
start_test() {
  env --default-signal=HUP,INT,TERM "$MISCDISC_COMMAND" --timeout 60 doctor share d \
    >data 2>words 3>&- &
  tester=$!
  until find d -name contested | grep -q .; do
    kill -0 "$tester"
    sleep 0.01
  done
}

@test "on a folder of this machine everything holds, and nothing is left" {
  mkdir d
  echo x >d/kept
  ask doctor share d
  expect_code 0
  diff <(results) - <<'END'
mount	ok
exclusion	ok
asking	ok
new files	ok
replacing	ok
marks	ok
death of a holder	ok
END
  grep -qx "mount	ok	storage of this machine, $(findmnt -no FSTYPE -T d) (.*)" data
  grep -qE "^exclusion	ok	[1-9][0-9]* and [1-9][0-9]* times held, [0-9]+ times refused, never by both$" data
  grep -qE "^replacing	ok	replaced [1-9][0-9]* times, read whole [1-9][0-9]* times$" data
  expect_words "both processes ran on this machine."
  [ "$(ls -A d)" = kept ]
}

@test "the document has a truth for each property" {
  mkdir d
  ask doctor share d/ --json
  expect_code 0
  [ "$(jq -c '[.schema, .path, .remote]' data)" = "[\"miscdisc.share/1\",\"$PWD/d\",false]" ]
  [[ "$(jq -r .mount data)" == "$(findmnt -no FSTYPE -T d) ("* ]]
  [ "$(jq -c '[.tests[].ok] | unique' data)" = '[true]' ]
  [ "$(jq -r '.tests[1].test' data)" = exclusion ]
}

@test "a declared remote folder holds as well, and keeps nothing, not even .lockspace" {
  mkdir d
  printf '[locks]\nremote = ["%s"]\n' "$PWD/d" >>"$MISCDISC_HOME/config.toml"
  ask doctor share d
  expect_code 0
  grep -qx "mount	ok	remote storage, .*" data
  [ -z "$(ls -A d)" ]
}

@test "locks that everybody gets are found out" {
  mkdir d
  export LD_PRELOAD="$PRETENDED_LOCKS_LIBRARY" PRETENDED_LOCKS=granted
  ask doctor share d
  unset LD_PRELOAD
  expect_code 10
  grep -qE "^exclusion	FAILED	both held the lock at once, [1-9][0-9]* times" data
  grep -qx "asking	FAILED	a held lock is seen as free, and as missing after it was let go" data
  grep -qx "death of a holder	FAILED	the second process got a lock that is held" data
  grep -qx "new files	ok	seen at once, and when they go" data
  [ -z "$(ls -A d)" ]
}

@test "where no lock is had, the reason is said" {
  mkdir d
  export LD_PRELOAD="$PRETENDED_LOCKS_LIBRARY" PRETENDED_LOCKS=refused
  ask doctor share d
  unset LD_PRELOAD
  expect_code 10
  grep -qE "^exclusion	FAILED	no lock was ever had" data
  grep -qx "asking	FAILED	the lock was not had: No locks available" data
  grep -qx "death of a holder	FAILED	the lock was not had: No locks available" data
}

@test "interrupted or ended, it leaves nothing" {
  mkdir d
  for signal in HUP:129 INT:130 TERM:143; do
    start_test
    kill "-${signal%:*}" "$tester"
    code=0
    wait "$tester" || code=$?
    expect_code "${signal#*:}"
    [ ! -s words ]
    [ ! -s data ]
    [ -z "$(ls -A d)" ]
  done
}

@test "its processes end with it, however it ends" {
  mkdir d
  start_test
  children=$(children_of "$tester")
  [ "$(wc -w <<<"$children")" -eq 2 ]
  kill -KILL "$tester"
  wait "$tester" || true
  for child in $children; do eventually ended "$child"; done
}

@test "a folder that is not there, is none, or may not be written in is said" {
  ask doctor share nope
  expect_code 4
  expect_words "$PWD/nope is not there."
  echo x >file
  ask doctor share file
  expect_code 1
  expect_words "nothing can be written in $PWD/file: Not a directory."
  mkdir d
  chmod 555 d
  ask_unprivileged doctor share d
  chmod 755 d
  expect_code 1
  expect_words "nothing can be written in $PWD/d: Permission denied."
  ask doctor share
  expect_code 2
  ask doctor share d --fix
  expect_code 2
  ask doctor share d --dry-run
  expect_code 2
  expect_words "Leave --dry-run out"
  ask doctor share ""
  expect_code 2
  expect_words "DIR is empty"
  ask doctor share /proc
  expect_code 1
  expect_words "nothing can be written in /proc: no folder can be made there."
}

@test "a share that does not answer keeps nobody waiting" {
  mkdir d
  hang_on d
  SECONDS=0
  ask_hanging doctor share d
  expect_code 3
  [ "$SECONDS" -lt 30 ]
  expect_words "$PWD/d is not answering: nothing came from it in 1 s."
}

@test "a process that hangs during the test is waited for, but not for ever" {
  mkdir d
  start_test
  kill -STOP "$(children_of "$tester" | cut -d' ' -f1)"
  code=0
  wait "$tester" || code=$?
  expect_code 3
  expect_words "stopped answering during the test."
  [ ! -s data ]
  [ -z "$(ls -A d)" ]
}
