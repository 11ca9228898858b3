load setup

@test "stats count the files of each folder" {
  three_volumes
  ask cache stats
  expect_code 0
  expect_data \
    "E	material	1	valid	$PWD/e/Material/" "E	sound	0	valid	$PWD/e/Sound/" \
    "F	material	0	valid	$PWD/f/Material/" "F	sound	1	valid	$PWD/f/Sound/" \
    "G	material	0	valid	$PWD/g/Material/" "G	sound	1	valid	$PWD/g/Sound/"
}

@test "stats --json is one document" {
  three_volumes
  rm -r f g
  ask cache stats --json
  expect_code 3
  [ "$(jq -r .schema data)" = miscdisc.cache/1 ]
  [ "$(jq .files data)" -eq 1 ]
  [ "$(jq -c '.volumes[0]' data)" = "{\"id\":\"E\",\"present\":true,\"directories\":[{\"path\":\"$PWD/e/Material/\",\"files\":1,\"valid\":true},{\"path\":\"$PWD/e/Sound/\",\"files\":0,\"valid\":true}]}" ]
  [ "$(jq -c '[.volumes[].present]' data)" = "[true,false,false]" ]
  [ "$(jq -c '[.volumes[1].directories[].valid]' data)" = "[false,false]" ]
}

@test "validate says how much there is" {
  three_volumes
  ask cache validate
  expect_code 0
  expect_data "3 files on 3 volumes"
}

@test "validate without a volume is exit 3" {
  three_volumes
  rm -r f g
  ask cache validate
  expect_code 3
  expect_data "1 file on 1 volume"
  expect_words "drive F is not present"
  expect_words "drive G is not present"
}

@test "the dump holds every name, and the command says where it is" {
  three_volumes
  ask cache dump
  expect_code 0
  expect_data "$MISCDISC_HOME/cache0.txt"
  diff <(printf '<A001.mxf>\n<A001.mxf>\n<B002.wav>\n') "$MISCDISC_HOME/cache0.txt"
}

@test "a dump that cannot be written is a failure" {
  three_volumes
  mkdir "$MISCDISC_HOME/cache0.txt"
  ask cache dump
  expect_code 1
  expect_words "$MISCDISC_HOME/cache0.txt could not be written whole."
}

# The words go through a pipe: the limit holds for every file.
dump_within() { # KIB
  code=0
  (
    # The thread sanitizer writes a file of its own before the command can ignore the signal.
    if [ "${SANITIZE:-}" = thread ]; then trap '' XFSZ; fi
    ulimit -f "$1"
    exec "$MISCDISC_COMMAND" cache dump
  ) 2>&1 | cat >words
  code=${PIPESTATUS[0]}
}

@test "a dump that ends early is a failure, whatever an earlier one left" {
  three_volumes
  ask cache dump
  expect_code 0
  for i in $(seq 1000 1199); do : >"e/Material/file$i"; done
  for limit in 0 1; do
    dump_within "$limit"
    expect_code 1
    expect_words "$MISCDISC_HOME/cache0.txt could not be written whole."
  done
  [ "$(stat -c %s "$MISCDISC_HOME/cache0.txt")" -le 1024 ]
  dump_within 1024
  expect_code 0
}

@test "an interrupted command is exit 130" {
  three_volumes
  for i in $(seq 2000); do : >"e/Material/file$i"; done
  # A reader that reads one byte only keeps the command in its write.
  python3 - <<'END'
import os, signal, subprocess
names = [f"file{i}" for i in range(1, 2001)]
child = subprocess.Popen([os.environ["MISCDISC_COMMAND"], "find", *names],
                         stdout=subprocess.PIPE, stderr=subprocess.PIPE,
                         preexec_fn=lambda: signal.signal(signal.SIGINT, signal.SIG_DFL))
assert os.read(child.stdout.fileno(), 1) == b"f"
child.send_signal(signal.SIGINT)
assert child.wait(timeout=60) == 130, child.returncode
END
}
