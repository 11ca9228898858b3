# Whoever only looks disturbs nobody: not even a program of the same user that works there.
load setup
load machines
load lobby
load bus

teardown() {
  end_started
  stop_machines
  end_hanging
  end_bus
}

# Every command of the program that only looks, with things that are there.
reading=(
  ""
  "status" "status --json" "report --html -" "report --prometheus -"
  "drives list" "drives list --hidden --json" "drives show E" "drives best"
  "drives check --min-minutes 1@dv25" "drives plan recordings"
  "find A001.mxf" "find A001.mxf --json" "cache stats" "cache validate"
  "lobby list" "lobby list --json" "lobby show" "lobby show Alpha --json" "lobby show Beta"
  "space show" "space show --json"
  "room list" "room list --json" "room check P0001000/Mix" "room check P0001000/Mix --json"
  "project list" "project list --json" "project who P0001000" "project who P0001000 --json"
  "locks list" "locks list --json" "locks wait P0001000 --for 0.5" "locks wait P0001000/Mix --for 0"
  "doctor" "doctor --all" "doctor --all --json"
  "config get user" "config list" "config path"
  "version" "--help"
)

prepared_share() {
  share
  printf 'one' >net/Alpha/Media/Material/A001.mxf
  printf '1@dv25 A\n' >recordings
  : >net/Alpha/P0001000/Left.Room.lck
  printf 'cat' >net/Alpha/P0001000/Left.Room.lck.inf
  : >net/Alpha/cat.cli
}

@test "looking changes nothing on the share, and the program that works there stays in" {
  prepared_share
  start_machine own ann
  tell own "enter Alpha"
  tell own "room P0001000/Mix.Room"
  tell own "lock-project P0001000"
  share_snapshot >before
  for command in "${reading[@]}"; do
    ask $command
    [ "$code" -ne 1 ] && [ "$code" -ne 2 ] || {
      echo "miscdisc $command: exit $code"
      cat words
      return 1
    }
    share_snapshot | diff before - || {
      echo "changed by: miscdisc $command"
      return 1
    }
  done
  tell own "state $PWD/net/Alpha/ann.cli" held
  tell own "state $PWD/net/Alpha/P0001000/Lock" held
  tell own "state $PWD/net/Alpha/P0001000/Mix.Room.lck" held
  tell own "room Edit 1.Room"
  tell own "leave-room"
  tell own "unlock-project"
  tell own "leave"
  [ "$(cd net/Alpha && echo *.cli *.lck P0001000/*)" = "cat.cli *.lck P0001000/Left.Room.lck P0001000/Left.Room.lck.inf P0001000/Mix.Room" ]
}

@test "while others look, every lock can be taken, and every lobby entered" {
  prepared_share
  start_machine bob bob
  tell bob "enter Alpha"
  (
    rounds=0
    while [ ! -e enough ]; do
      for command in status "lobby list" "lobby show" "room list" "project list" "locks list" \
        "room check P0001000/Mix" "project who P0001000" "locks wait P0001000 --for 0.05"; do
        miscdisc -q $command >/dev/null 2>&1 || true
      done
      rounds=$((rounds + 1))
      echo $rounds >rounds
    done
  ) 3>&- &
  local looker=$! times=0
  until [ "$times" -ge 200 ] && [ "$(cat rounds 2>/dev/null || echo 0)" -ge 3 ]; do
    tell bob "room P0001000/Mix.Room"
    tell bob "lock-project P0001000"
    tell bob "leave-room"
    tell bob "unlock-project"
    tell bob "leave"
    tell bob "enter Alpha"
    times=$((times + 1))
  done
  : >enough
  wait $looker
  tell bob "leave"
  [ ! -e net/Alpha/bob.cli ]
}

@test "watching and listening change nothing on the share either, and disturb nobody" {
  start_bus
  prepared_share
  start_machine own ann
  tell own "enter Alpha"
  tell own "room P0001000/Mix.Room"
  share_snapshot >before
  start watch watch
  start listen notify listen
  eventually grep -q lock_taken watch.data
  eventually grep -q "listening to" listen.words
  share_snapshot | diff before -
  tell own "lock-project P0001000"
  eventually grep -q '"kind":"project"' watch.data
  tell own "unlock-project"
  tell own "leave-room"
  tell own "leave"
  eventually grep -q person_left watch.data
  [ ! -e net/Alpha/ann.cli ]
}
