# A NATS server of the test's own on loopback; for tests that load "setup", "machines" and "bus"
# too.

alpha_user=Alpha-a94de85b9497535b # of the lobby \\nas\projects\Alpha

# What else stands in its configuration.
nats_settings=

# Takes the users that "notify setup" prints, with the password "secret", and an administrator.
start_nats() { # FILE...: what was printed
  mkdir -p nats/ports
  {
    printf 'listen: "127.0.0.1:-1"\nports_file_dir: "%s"\n' "$PWD/nats/ports"
    printf 'jetstream { store_dir: "%s" }\n' "$PWD/nats/store"
    echo "$nats_settings"
    printf 'authorization { users: [\n    { user: "administrator", password: "ruling" }\n'
    cat "$@" | grep '^    ' | sed 's/CHANGE ME/secret/'
    printf '] }\n'
  } >nats/server.conf
  nats-server -c nats/server.conf >nats/log 2>&1 3>&- &
  nats=$!
  eventually grep -q '}' "nats/ports/nats-server_$nats.ports" || { cat nats/log; return 1; }
  nats_url=$(jq -r '.nats[0]' "nats/ports/nats-server_$nats.ports")
  echo administrator:ruling >administrator.credentials
}

end_nats() {
  [ -n "${nats:-}" ] || return 0
  kill -KILL "$nats" 2>/dev/null || true
  wait "$nats" 2>/dev/null || true
  nats=
}

# What a machine is told of the server.
use_nats() { # HOME USER:PASSWORD
  echo "$2" >"$1/credentials"
  printf '[messenger]\nengine = "nats"\nurl = "%s"\ncredentials = "%s"\n' \
    "$nats_url" "$(realpath "$1/credentials")" >>"$1/config.toml"
}

setup_as_administrator() { # ARGUMENT...
  ask notify setup --run --url "$nats_url" --credentials administrator.credentials "$@"
}

# ann and bob in lobby Alpha, with a server that knows its user; nobody has made the stream.
two_machines_and_a_server() { # [LINE: that the user's rights are without]
  two_machines_with_a_drive
  miscdisc -q notify setup | grep -vxF "${1-nothing}" >printed
  start_nats printed
  use_nats "$MISCDISC_HOME" "$alpha_user:secret"
  use_nats bob "$alpha_user:secret"
}

messenger_line() {
  ask status
  expect_code 0
  grep '^messenger	' data
}
