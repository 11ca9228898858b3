# Two machines, ann's (the test's own) and bob's, and what they hold; for tests that load "setup"
# too.

# The lobby net/Alpha with two rooms and a project.
two_machines() {
  mkdir -p net/Alpha/P0001000 bob
  touch net/Alpha/DefNetDrive.txt "net/Alpha/Edit 1.Room" net/Alpha/Mix.Room
  local name
  for name in "$MISCDISC_HOME" bob; do
    printf '[volumes]\ndiscover = false\n[machine]\nuser = "bob"\n' >"$name/config.toml"
    MISCDISC_HOME=$(realpath "$name") miscdisc -q config set "network project root" "$PWD/net"
  done
  sed -i 's/bob/ann/' "$MISCDISC_HOME/config.toml"
  started=()
}

as_bob() { MISCDISC_HOME="$PWD/bob" "$@"; }

# A command in the background, with its signals as on a terminal; its process id is in $last, its
# data in NAME.data and its words in NAME.words.
start() { # NAME ARGUMENT...
  local name=$1
  shift
  : >"$name.data"
  env --default-signal=HUP,INT,TERM "$MISCDISC_COMMAND" --timeout 60 "$@" \
    <&0 >"$name.data" 2>"$name.words" 3>&- &
  last=$!
  started+=("$last")
}

# The same, and waits until it holds what it is asked for.
start_holding() { # NAME ARGUMENT...
  start "$@"
  eventually grep -q holding "$1.data"
}

end_with() { # SIGNAL PID: its exit code is in $code
  kill "-$1" "$2"
  code=0
  wait "$2" || code=$?
}

gone() { [ ! -e "$1" ]; }

# Nothing is left of logins and locks in the lobby.
expect_nothing_held() {
  [ -z "$(find net/Alpha -name '*.cli' -o -name '*.lck' -o -name '*.inf' -o -name Lock)" ] ||
    { find net/Alpha; return 1; }
}

end_started() {
  local process
  for process in "${started[@]}"; do
    kill -KILL "$process" 2>/dev/null || true
    wait "$process" 2>/dev/null || true
  done
}
