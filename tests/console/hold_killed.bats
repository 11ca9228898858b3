# Commands that hold something and are killed, or whose command is.
load setup
load machines

setup_file() { export BATS_TEST_TIMEOUT=120; }

teardown() { end_started; }

@test "a command that does not end is killed after ten seconds, and let go when it cannot die" {
  two_machines
  start ann with Alpha -- sh -c "trap '' TERM; echo ready; while :; do sleep 0.05; done"
  local mortal=$last before undying
  eventually grep -q ready ann.data
  LD_PRELOAD="$SICK_SHARE" UNDYING=1 as_bob start bob with Alpha -- \
    sh -c "trap '' HUP TERM; echo \$\$; while :; do sleep 0.05; done"
  undying=$last
  eventually grep -q . bob.data
  started+=("$(cat bob.data)")
  before=$SECONDS
  kill -TERM "$undying"
  end_with TERM "$mortal"
  expect_code 137
  [ $((SECONDS - before)) -ge 9 ]
  code=0
  wait "$undying" || code=$?
  expect_code 137
  kill -0 "$(cat bob.data)"
  expect_nothing_held
}

@test "what ignores TERM, or HUP from the start, ends with its holder all the same" {
  two_machines
  start ann with Alpha -- sh -c "trap '' TERM; echo \$\$; while :; do sleep 0.05; done"
  eventually grep -q . ann.data
  end_with KILL "$last"
  eventually ended "$(cat ann.data)"
  : >ann.data
  (trap '' HUP; exec "$MISCDISC_COMMAND" --timeout 60 with Alpha -- sh -c 'echo $$; exec sleep 600') \
    >ann.data 2>&1 3>&- &
  last=$!
  started+=("$last")
  eventually grep -q . ann.data
  end_with KILL "$last"
  eventually ended "$(cat ann.data)"
}

@test "the command ends when its holder is killed, and what that leaves blocks nobody" {
  two_machines
  start ann with Alpha --room Mix --project P0001000 -- sh -c 'echo $$; exec sleep 600'
  eventually grep -q . ann.data
  local inner
  inner=$(cat ann.data)
  end_with KILL "$last"
  eventually ended "$inner"
  [ -e net/Alpha/ann.cli ]
  [ -e net/Alpha/Mix.Room.lck ]
  [ -e net/Alpha/P0001000/Lock ]
  as_bob ask with Alpha --room Mix --project P0001000 -- cat net/Alpha/Mix.Room.lck.inf
  expect_code 0
  [ "$(cat data)" = bob ]
  ask with Alpha --room Mix -- true
  expect_code 0
  expect_nothing_held
}
