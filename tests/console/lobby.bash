# A share with lobbies, and other programs that work in them.  To be loaded after setup.
load hanging

# The lobbies Alpha and Beta; this machine is ann's and its lobby is Alpha.
share() {
  mkdir -p net/{Alpha,Beta}/Media/{Material,Sound} net/Alpha/P0001000 net/Folder
  printf '%s' "$PWD/net/Alpha/Media" >net/Alpha/DefNetDrive.txt
  printf '%s' "$PWD/net/Beta/Media" >net/Beta/DefNetDrive.txt
  : >"net/Alpha/Edit 1.Room"
  : >net/Alpha/P0001000/Mix.Room
  user_is ann "$MISCDISC_HOME"
  miscdisc -q config set "network project root" "$PWD/net"
  miscdisc -q config set "network lobby name" Alpha
}

user_is() { # USER HOME
  mkdir -p "$2"
  printf '[machine]\nuser = "%s"\n[volumes]\ndiscover = false\n' "$1" >"$2/config.toml"
}

declare -gA machine_pid machine_in machine_out

start_machine() { # NAME USER
  local home="machines/$1" in out
  user_is "$2" "$home"
  mkfifo "$home/in" "$home/out"
  MISCDISC_HOME="$PWD/$home" "$MACHINE" "$PWD/net" <"$home/in" >"$home/out" 3>&- &
  machine_pid[$1]=$!
  exec {in}>"$home/in" {out}<"$home/out"
  machine_in[$1]=$in
  machine_out[$1]=$out
  answer "$1" READY
}

answer() { # NAME EXPECTED
  local line
  IFS= read -r -t 60 line <&"${machine_out[$1]}"
  [ "$line" = "$2" ] || { echo "machine $1 said: $line"; return 1; }
}

# One command, and the answer that is expected: "yes" unless given.
tell() { # NAME COMMAND [ANSWER]
  echo "$2" >&"${machine_in[$1]}"
  answer "$1" "${3-yes}"
}

crash_machine() { # NAME
  kill -KILL "${machine_pid[$1]}"
  wait "${machine_pid[$1]}" || true
  unset "machine_pid[$1]"
}

stop_machines() {
  local name
  for name in "${!machine_pid[@]}"; do crash_machine "$name"; done
}

# Every name, size, mode, time and byte on the share.
share_snapshot() {
  find net -printf '%p %y %l %s %m %T@ %C@\n' | sort
  find net -type f -print0 | sort -z | xargs -0 sha256sum
}

# The time of a file, as the command shows it.
since() { date -u -r "$1" +%Y-%m-%dT%H:%M:%SZ; }

teardown() {
  stop_machines
  end_hanging
}
