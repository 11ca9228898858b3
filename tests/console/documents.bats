load setup
load bus
unset -f miscdisc # here it is a program

# Every command line that the documents show is run, on machines that are set up as they say: what
# is under /mnt, /home, /data and /tmp there is in the test's folder here.  Each section begins with
# machines of its own.

root="$BATS_TEST_DIRNAME/../.."

teardown() {
  end_lasting
  end_bus
}

# What has nothing to do with this command, or cannot be run here.
is_left_out() { # LINE
  case $1 in
    miscdisc*) false ;;
    ./* | scripts/* | build/* | cmake* | ctest* | g++* | cp*) ;;    # builds
    apt* | sudo* | install* | nats-server*) ;;                      # changes the whole machine
    dbus-monitor*) ;;                                               # of another bus
    \[* | *' = '* | /* | find_package\(* | target_link_libraries*) ;; # of a file, or said
    *) false ;;
  esac
}

is_run() { # LINE
  case $1 in
    miscdisc* | export* | PATH=* | mkdir* | printf* | touch* | source* | \#*) ;;
    *) false ;;
  esac
}

# Runs until it is ended.
lasts() { # LINE
  case $1 in
    'miscdisc hold '* | 'miscdisc room go '* | 'miscdisc watch'* | 'miscdisc notify listen'*) ;;
    *) false ;;
  esac
}

# The exit code.
expected() { # LINE
  case $1 in
    'miscdisc lobby delete '*) echo 7 ;; # nobody is there to be asked
    'miscdisc room check '*) [ -n "$lasting" ] && echo 5 || echo 0 ;;
    'miscdisc drives check '* | 'miscdisc drives plan '*) echo "0|8" ;; # as much room as there is
    'miscdisc doctor share '*) echo "0|3" ;;                            # some mounts cannot tell
    'miscdisc doctor'*) echo "0|10" ;; # traps of the machine that runs the tests
    *) echo 0 ;;
  esac
}

# "=" and the title of each section, and the lines in it that are set apart.
lines_of() { # FILE
  case $1 in
    *.md)
      awk '/^```/ { fenced = !fenced; next }
           fenced { next }
           /^#/ { print "=" $0 }
           /^    [^ ]/ { print substr($0, 5) }' "$1"
      ;;
    *)
      sed -nE 's/\\-/-/g; s/\\\(dq/"/g; s/^\.Sh (.*)/=\1/p; s/^(\.Dl )?\$ //p' "$1"
      ;;
  esac
}

as() { MISCDISC_HOME="$world/tmp/$1" "$MISCDISC_COMMAND" -q --timeout 60 "${@:2}"; }

# ann's and bob's.
fresh_machines() {
  cd "$BATS_TEST_TMPDIR"
  rm -rf world
  mkdir -p world/{bin,home/ann/rushes,data/{b,new}}
  mkdir -p world/mnt/{rushes-{a,b}/{Material,Sound},nas/projects}
  cd world
  world=$PWD
  PATH=$world/bin:$PATH
  touch mnt/rushes-a/Material/A001.mxf mnt/rushes-b/Sound/B004.wav data/new/C001.mxf
  echo "30@dv25 Interview" >recordings.txt
  printf '#!/bin/sh\necho $$ >"%s/pid"\nexec "%s" --timeout 60 "$@"\n' \
    "$world" "$MISCDISC_COMMAND" >bin/miscdisc
  printf '#!/bin/sh\ncp "$2"* "$3"\n' >bin/rsync # as far as the documents use it
  printf '#!/bin/sh\nexec %s --unbuffered "$@"\n' "$(command -v jq)" >bin/jq
  chmod +x bin/*
  local name
  for name in ann bob; do
    mkdir -p "tmp/$name"
    cat >"tmp/$name/config.toml" <<END
[machine]
user = "$name"
[volumes]
discover = false
E = "$world/mnt/rushes-a"
F = "$world/mnt/rushes-b"
[shares]
'//nas/rushes' = "$world/mnt/rushes-a"
'//nas/projects' = "$world/mnt/nas"
END
    as "$name" config set "network project root" "$world/mnt/nas/projects"
  done
  export MISCDISC_HOME=$world/tmp/ann
}

enter_lobby() {
  as ann lobby create Alpha >said
  furnish
  as ann lobby use Alpha >said
  as bob lobby use Alpha >said
}

# What people have in their lobbies.
furnish() {
  local list
  for list in {mnt/nas/projects,tmp/nas}/*/DefNetDrive.txt; do
    [ -e "$list" ] || continue
    mkdir -p "${list%/*}/P0001000"
    touch "${list%/*}/Edit 1.Room"
  done
}

run_line() { # LINE
  local line code=0
  line=$(sed -E "s#(^|[ \"'=>])/(mnt|home|data|tmp)/#\1$world/\2/#g" <<<"$1")
  case $line in
    *' --run '*) line+=" --dry-run" ;; # that server is not here
    'miscdisc locks wait '*) end_lasting ;;
    '# bob')
      MISCDISC_HOME=$world/tmp/bob
      as bob config set "network project root" "$world/tmp/nas"
      ;;
  esac
  if lasts "$line"; then
    start_lasting "$line"
    return
  fi
  local want
  want=$(expected "$line")
  eval "$line" </dev/null >said 2>words || code=$?
  [[ $code =~ ^($want)$ ]] || { echo "exit $code: $line"; cat words; return 1; }
  furnish
}

start_lasting() { # LINE
  end_lasting
  : >lasting.data
  (eval "$1" </dev/null >lasting.data 2>lasting.words 3>&- 4>&-) &
  lasting=$!
  eventually says_something || { echo "it says nothing: $1"; cat lasting.words; return 1; }
  lasting_command=$(<pid)
  [[ $1 == 'miscdisc hold '* ]] || end_lasting
}

# Something to say is what others add.
says_something() {
  [ -s lasting.data ] ||
    MISCDISC_LOBBY=Alpha as bob cache add mnt/rushes-a/Material/A001.mxf 2>others.words || true
  [ -s lasting.data ]
}

end_lasting() {
  [ -n "${lasting:-}" ] || return 0
  kill -TERM "$lasting_command"
  wait "$lasting" || true
  lasting=
}

# How many commands it was is in $ran.
run_document() { # FILE
  local line section fresh=
  ran=0
  lines_of "$1" >"$BATS_TEST_TMPDIR/lines"
  while IFS= read -r line <&4; do
    if [[ $line == =* ]]; then
      section=$line
      fresh=
      continue
    fi
    ! is_left_out "$line" || continue
    is_run "$line" || { echo "is this a command line?  $line"; return 1; }
    if [ -z "$fresh" ]; then
      end_lasting
      fresh_machines
      fresh=1
      section_has "$section" "lobby create" || enter_lobby
    fi
    run_line "$line" || { echo "in $1, $section"; return 1; }
    [[ $line != miscdisc* ]] || ((++ran))
  done 4<"$BATS_TEST_TMPDIR/lines"
  end_lasting
}

section_has() { # SECTION TEXT
  awk -v section="$1" '/^=/ { inside = $0 == section } inside' "$BATS_TEST_TMPDIR/lines" |
    grep -qF "$2"
}

@test "README" {
  start_bus
  run_document "$root/README.md"
  [ "$ran" -ge 30 ]
}

@test "lobbies, and messages" {
  start_bus
  run_document "$root/docs/lobbies.md"
  [ "$ran" -ge 15 ]
  run_document "$root/docs/messages.md"
  [ "$ran" -ge 6 ]
}

@test "all other documents" {
  start_bus
  for document in "$root"/*.md "$root"/docs/*.md; do
    case ${document##*/} in
      README.md | lobbies.md | messages.md) [[ $document == */docs/README.md ]] || continue ;;
    esac
    run_document "$document"
  done
}

@test "the examples of the manual" {
  start_bus
  run_document "$root/docs/man/miscdisc.1"
  [ "$ran" -ge 13 ]
}

@test "every command that a message says to try is one" {
  grep -rhoE '(\\"|: )miscdisc [a-z]+( [a-z]+)?' "$root/console" "$root/host" --include=*.cpp |
    sed 's/.*miscdisc //' | sort -u >tries
  [ "$(wc -l <tries)" -ge 20 ]
  while read -r words; do
    "$MISCDISC_COMMAND" $words --help | grep -q "^Usage: miscdisc $words" ||
      { echo "no command: $words"; return 1; }
  done <tries
}

@test "a line that does not work is seen" {
  start_bus
  printf '# A\n\n    miscdisc version\n    miscdisc drives lst\n' >wrong.md
  run run_document "$PWD/wrong.md"
  [ "$status" -eq 1 ]
  [[ "$output" == *"exit 2: miscdisc drives lst"* ]]
  printf '# A\n\n    mscdisc version\n' >"$BATS_TEST_TMPDIR/wrong.md"
  run run_document "$BATS_TEST_TMPDIR/wrong.md"
  [[ "$output" == *"is this a command line?  mscdisc version"* ]]
}
