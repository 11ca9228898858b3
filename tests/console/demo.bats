load setup

# Whatever the demo leaves behind would lie here.
demo() {
  mkdir -p stage
  code=0
  TMPDIR="$PWD/stage" timeout 60 "$MISCDISC_COMMAND" demo "$@" >data 2>words || code=$?
}

@test "the demo shows a lobby, a crash and the doctor, and leaves nothing" {
  snapshot >snapshot.before
  demo
  expect_code 0
  grep -qx 'bob$ miscdisc room check "Edit 1"' data
  [ "$(grep -c '^(exit code 5)$' data)" -eq 1 ]
  [ "$(grep -c '^(exit code 10)$' data)" -eq 1 ]
  grep -qE '^person	ann	live	' data
  grep -qE '^person	ann	stale	' data
  grep -qE '^room	Edit 1	live	bob	' data
  [ "$(grep -cE '^bob hears: file_added .*/rushes-a/Material/(ann|cleo).mxf$' data)" -eq 2 ]
  [ "$(grep -cE '^(ann|cleo).mxf	E	' data)" -eq 2 ]
  [ -z "$(ls -A stage)" ]
  rmdir stage
  snapshot | diff snapshot.before -
}

@test "a demo that is interrupted leaves neither folder nor machines" {
  mkdir stage
  TMPDIR="$PWD/stage" env --default-signal=INT,TERM "$MISCDISC_COMMAND" demo >data 2>words 3>&- &
  local demo=$!
  eventually grep -q '^holding' data
  kill -TERM "$demo"
  code=0
  wait "$demo" || code=$?
  expect_code 143
  [ -z "$(ls -A stage)" ]
  ! grep -lzsq "^MISCDISC_HOME=$PWD/stage" /proc/[0-9]*/environ
}

@test "there is no document of the demo, and it is not tried out" {
  demo --json
  expect_code 2
  [ ! -s data ]
  demo --dry-run
  expect_code 2
  expect_words "nobody can try out the demo"
  [ ! -s data ]
}
