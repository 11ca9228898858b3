# A session bus of the test's own, and two machines that hear each other on it; for tests that load
# "setup" and "machines" too.

# Each at the same place, so that those who were connected to one come back to the next.
start_bus() {
  rm -f bus.address
  dbus-daemon --session --nofork --nopidfile --address="unix:path=$PWD/bus" \
    --print-address=3 3>bus.address 2>bus.words &
  bus=$!
  eventually test -s bus.address
  DBUS_SESSION_BUS_ADDRESS=unix:path=$PWD/bus
  export DBUS_SESSION_BUS_ADDRESS
}

end_bus() {
  [ -n "${bus:-}" ] || return 0
  kill "$bus" 2>/dev/null || true
  wait "$bus" 2>/dev/null || true
}

# Both in lobby Alpha.  The drive is E in ann's machine and G in bob's, mounted elsewhere; both know
# by which name the server has it.
two_machines_with_a_drive() {
  two_machines
  mkdir -p media/Material media/Sound
  ln -s media ann_sees
  ln -s media bob_sees
  ln -s net bob_net
  cat >"$MISCDISC_HOME/config.toml" <<END
[machine]
user = "ann"
[volumes]
discover = false
E = "$PWD/ann_sees"
[shares]
'//nas/rushes' = "$PWD/ann_sees"
'//nas/projects' = "$PWD/net"
END
  cat >bob/config.toml <<END
[machine]
user = "bob"
[volumes]
discover = false
G = "$PWD/bob_sees"
[shares]
'//nas/rushes' = "$PWD/bob_sees"
'//nas/projects' = "$PWD/bob_net"
END
  as_bob miscdisc -q config set "network project root" "$PWD/bob_net"
  miscdisc -q config set "network lobby name" Alpha
  as_bob miscdisc -q config set "network lobby name" Alpha
}

# bob listens; what he hears is in bob.data.
start_listening() { # ARGUMENT...
  as_bob start bob notify listen "$@"
  eventually grep -q "listening to" bob.words
}

expect_heard() { # LINE: within a minute
  eventually grep -qxF -- "$1" bob.data || { cat bob.data bob.words; return 1; }
}
