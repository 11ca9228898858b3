# Each test has a machine home of its own, where this machine's mounts are no volumes, and calls
# the command that CTest names.

setup() {
  export MISCDISC_HOME="$BATS_TEST_TMPDIR/home"
  mkdir -p "$MISCDISC_HOME"
  printf '[volumes]\ndiscover = false\n' >"$MISCDISC_HOME/config.toml"
  cd "$BATS_TEST_TMPDIR"
  unset NO_COLOR XDG_CONFIG_HOME XDG_STATE_HOME XDG_DATA_HOME
  unset DBUS_SESSION_BUS_ADDRESS XDG_RUNTIME_DIR # whoever runs the tests hears nothing of them
}

miscdisc() { "$MISCDISC_COMMAND" "$@"; }

# Runs the command; its exit code is in $code, its words in the file "words", its data in "data".
# However busy the machine is, a folder that is there answers.
ask() {
  code=0
  miscdisc --timeout 60 "$@" >data 2>words || code=$?
}

expect_code() {
  [ "$code" -eq "$1" ] || { echo "exit $code instead of $1"; cat words; return 1; }
}

eventually() { # COMMAND...: within a minute it is so
  local try
  for try in $(seq 1200); do
    if "$@"; then return 0; fi
    sleep 0.05
  done
  echo "never: $*"
  return 1
}

# Also when nobody has asked how: in a container there may be nobody who does.
ended() { ! kill -0 "$1" 2>/dev/null || grep -qs '^State:.Z' "/proc/$1/status"; }
is_stopped() { grep -q '^State:.T' "/proc/$1/status"; }

expect_data() {
  diff <(printf '%s\n' "$@") data
}

expect_words() { # the words contain the text
  grep -qF -- "$1" words || { echo "not in the words: $1"; cat words; return 1; }
}

# No line of the files fits, in any letter case.  A "!" before a command would fail a test as its
# last line only.
expect_none() { # PATTERN FILE...
  local found=0
  LC_ALL=C grep -HniE -- "$@" || found=$?
  [ "$found" -eq 1 ]
}

# Three volumes with known files; all of them are there.
three_volumes() {
  local v
  for v in e f g; do mkdir -p "$v/Material" "$v/Sound"; done
  printf 'one' >e/Material/A001.mxf
  printf 'four' >f/Sound/A001.mxf
  printf '' >g/Sound/B002.wav
  touch -d '2026-01-02T03:04:05Z' e/Material/A001.mxf f/Sound/A001.mxf g/Sound/B002.wav
  cat >"$MISCDISC_HOME/config.toml" <<END
[volumes]
discover = false
E = "$PWD/e"
F = "$PWD/f"
G = "$PWD/g"
END
}

# Everything below the test's folder but the log and what the test itself keeps.
snapshot() {
  find . -mindepth 1 ! -name miscdisc.log ! -name data ! -name words ! -name 'snapshot.*' \
    -printf '%p %y %s %m %T@ %C@\n' | grep -v '^\./home d ' | sort
}

# As a user whom rights mean something to: root without its right to pass them over, which works
# wherever the tests and the command lie.
unprivileged() {
  if [ "$(id -u)" -ne 0 ]; then
    "$@"
  else
    setpriv --inh-caps=-dac_override,-dac_read_search \
      --bounding-set=-dac_override,-dac_read_search "$@"
  fi
}

ask_unprivileged() {
  code=0
  unprivileged "$MISCDISC_COMMAND" --timeout 60 "$@" >data 2>words || code=$?
}

# The room that a folder pretends to have, in bytes, for "ask_pretended".
room_of() { # FOLDER FREE TOTAL
  printf '%s %s\n' "$2" "$3" >"$1/.space"
}

ask_pretended() {
  code=0
  LD_PRELOAD="$PRETENDED_SPACE" "$MISCDISC_COMMAND" --timeout 60 "$@" >data 2>words || code=$?
}

# Volume E and the locations a (#1) and b (#2).
two_locations() {
  mkdir -p e/Material e/Sound a/Material a/Sound b/Material b/Sound "$MISCDISC_HOME/projects"
  printf '[volumes]\ndiscover = false\nE = "%s"\n' "$PWD/e" >"$MISCDISC_HOME/config.toml"
  locations="$MISCDISC_HOME/projects/DefNetDrive.txt"
  hidden="$MISCDISC_HOME/projects/UnmountedDrives.txt"
  printf '%s/\n' "$PWD/a" "$PWD/b" >"$locations"
}

drive_ids() { # of the list, in a line
  ask drives list
  cut -f1 data | paste -sd' '
}
