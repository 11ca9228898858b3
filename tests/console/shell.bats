# The shell, driven through a pipe and on a terminal.
load setup
load terminal

# Its lines; data, words and exit code as of "ask".
shell() { # ARGUMENT... <LINES
  ask shell "$@"
}

shell_on_terminal() { # ARGUMENT...
  on_terminal "$MISCDISC_COMMAND" --timeout 60 shell "$@"
}

# What a command leaves on the screen is there before the shell reads keys again, and of keys typed
# in between the terminal itself takes a Ctrl-D.
prompts_last() { [ "$(screen | sed '/^ *$/d; s/ *$//' | tail -n 1)" = "$1" ]; }

expect_prompt() { # PROMPT: within a minute it is the last line
  eventually prompts_last "$1" || { screen; return 1; }
}

@test "lines are executed, and the exit code is that of the last one" {
  two_machines
  shell <<'END'
version

# a comment
miscdisc version
enter Alpha
find nope
END
  expect_code 4
  expect_data "miscdisc 0.1.0, library 12.0.2.0" "miscdisc 0.1.0, library 12.0.2.0"
  grep -qx "miscdisc: now holding lobby Alpha" words
  expect_nothing_held
  printf 'find nope\nexit' >lines
  shell <lines
  expect_code 4
  printf 'find nope\nversion' >lines
  shell <lines
  expect_code 0
  shell </dev/null
  expect_code 0
  [ ! -s data ]
  [ ! -e "$MISCDISC_HOME/shell_history" ]
}

@test "what is held stays between the lines, and every change is said" {
  two_machines
  start_reading ann shell Alpha
  say "room go 'Edit 1'"
  eventually test -e "net/Alpha/Edit 1.Room.lck"
  say "room go Mix"
  eventually gone "net/Alpha/Edit 1.Room.lck"
  say "project open P0001000"
  eventually test -e net/Alpha/P0001000/Lock
  [ "$(cat net/Alpha/Mix.Room.lck.inf)" = ann ]
  say "status"
  eventually grep -qx "lobby	Alpha" ann.data
  say "room leave"
  eventually gone net/Alpha/Mix.Room.lck
  [ -e net/Alpha/ann.cli ]
  say "project close"
  eventually gone net/Alpha/P0001000/Lock
  say "leave"
  eventually gone net/Alpha/ann.cli
  say "status"
  eventually grep -qx "lobby	-" ann.data
  exec 8>&-
  code=0
  wait "$last" || code=$?
  expect_code 0
  diff ann.words - <<'END'
miscdisc: now holding lobby Alpha, room Edit 1
miscdisc: now holding lobby Alpha, room Mix
miscdisc: now holding lobby Alpha, room Mix, project P0001000
miscdisc: now holding lobby Alpha, project P0001000
miscdisc: now holding lobby Alpha
miscdisc: nothing is held any more
END
}

# A shell that reads what "say" writes.
start_reading() { # NAME ARGUMENT...
  mkfifo lines
  exec 8<>lines
  start "$@" <lines 8>&-
}

say() { printf '%s\n' "$1" >&8; }

@test "it starts in the configured lobby, or in the one that is named, or in none" {
  two_machines
  mkdir net/Beta
  touch net/Beta/DefNetDrive.txt
  miscdisc -q config set "network lobby name" Beta
  cp "$MISCDISC_HOME/state.toml" before
  shell <<<status
  grep -qx "lobby	Beta" data
  shell Alpha --room Mix <<<status
  grep -qx "lobby	Alpha" data
  shell "" <<<status
  grep -qx "lobby	-" data
  shell Nope <<<status
  expect_code 4
  [ ! -s data ]
  as_bob start_holding bob hold Alpha --room Mix
  shell Alpha --room Mix <<<status
  expect_code 5
  [ ! -s data ]
  cmp before "$MISCDISC_HOME/state.toml"
}

@test "a refused change keeps what was held, but a refused login leaves the lobby before" {
  two_machines
  mkdir net/Beta
  touch net/Beta/DefNetDrive.txt
  chmod 555 net/Beta
  as_bob start_holding bob hold Alpha --room Mix
  ask_unprivileged shell <<'END'
enter Alpha
room go "Edit 1"
room go Mix
enter Nope
enter Beta
room go
leave now
END
  expect_code 2
  chmod 755 net/Beta
  sed -E 's/since .*Z/since then/' words | cut -d. -f1 | diff - <(printf 'miscdisc: %s\n' \
    "now holding lobby Alpha" "now holding lobby Alpha, room Edit 1" \
    "room Mix is held by bob since then" "there is no lobby Nope: $PWD/net/Nope/ is not there" \
    "the login in lobby Beta was refused, so nothing is held there: $PWD/net/Beta/ann" \
    "nothing is held any more" "it is: room go ROOM" "nothing follows leave")
  [ ! -e net/Alpha/ann.cli ]
}

@test "the global options are those of every line" {
  two_machines
  ask --json --color never shell <<'END'
version
version --color always
END
  expect_code 0
  [ "$(jq -r .schema data)" = $'miscdisc.version/1\nmiscdisc.version/1' ]
  ask -q shell <<<"enter Alpha"
  [ ! -s words ]
  ask --dry-run shell <<<version
  expect_code 2
}

@test "HUP and TERM end the shell and the command that runs, and let go" {
  two_machines
  local signal
  for signal in HUP:129 TERM:143; do
    start_reading ann shell Alpha --room Mix
    say "hold Alpha --room 'Edit 1'"
    eventually test -e "net/Alpha/Edit 1.Room.lck"
    end_with "${signal%:*}" "$last"
    expect_code "${signal#*:}"
    expect_nothing_held
    exec 8>&-
    rm lines
  done
  start_reading ann shell Alpha
  eventually test -e net/Alpha/ann.cli
  end_with TERM "$last"
  expect_code 143
  expect_nothing_held
}

@test "storage that hangs holds up no other line" {
  two_machines
  mkdir net/Hung
  hang_on net/Hung
  code=0
  ASAN_OPTIONS=detect_leaks=0 timeout -s KILL 60 "$MISCDISC_COMMAND" --timeout 2 shell >data 2>words <<'END' || code=$?
enter Alpha
enter Hung
version
with Hung -- version
version
END
  expect_code 0
  expect_data "miscdisc 0.1.0, library 12.0.2.0" "miscdisc 0.1.0, library 12.0.2.0"
  [ "$(grep -c 'net/Hung/ is not answering' words)" -eq 2 ]
  expect_nothing_held
}

@test "a share that dies ends the shell, and with it what it holds" {
  two_machines
  code=0
  LD_PRELOAD="$SICK_SHARE" "$MISCDISC_COMMAND" --timeout 5 shell Alpha >data 2>words \
    < <(touch net/Alpha/.hangs; echo leave; echo version) || code=$?
  expect_code 3
  expect_words "$PWD/net/Alpha/ has stopped answering."
  [ ! -s data ]
}

@test "the prompt shows lobby and room" {
  two_machines
  shell_on_terminal
  expect_screen "miscdisc>"
  type_keys "enter Alpha" Enter
  expect_screen "miscdisc Alpha>"
  type_keys "room go 'Edit 1'" Enter
  expect_screen "miscdisc Alpha/Edit 1>"
  type_keys "leave" Enter "version" Enter
  expect_screen "library 12.0.2.0"
  expect_nothing_held
  expect_prompt "miscdisc>"
  type_keys C-d
  eventually gone_terminal
}

@test "words are completed: commands, options, lobbies, rooms and projects" {
  two_machines
  touch "net/Alpha/Schnitt ä.Room"
  shell_on_terminal
  expect_screen "miscdisc>"
  type_keys "ent" Tab "Al" Tab Enter
  expect_screen "miscdisc Alpha>"
  type_keys "roo" Tab "g" Tab "Sch" Tab
  expect_screen 'room go Schnitt\\ ä'
  type_keys Enter
  expect_screen "miscdisc Alpha/Schnitt ä>"
  type_keys 'room go "E' Tab
  expect_screen 'room go "Edit 1"'
  type_keys Enter
  expect_screen "miscdisc Alpha/Edit 1>"
  type_keys "pro" Tab "op" Tab "P" Tab Enter
  expect_screen "now holding lobby Alpha, room Edit 1, project P0001000"
  type_keys "room go " Tab
  expect_screen $'\nMix'
  type_keys C-c
  type_keys "cache st" Tab "--js" Tab Enter
  expect_screen '"schema": "miscdisc.cache/1"'
}

@test "lines are remembered, also by later shells, and not without bound" {
  two_machines
  seq -f 'version --json %g' 1100 >"$MISCDISC_HOME/shell_history"
  shell_on_terminal
  expect_screen "miscdisc>"
  type_keys "find x" Enter
  expect_screen "x is nowhere"
  expect_prompt "miscdisc>"
  type_keys C-d
  eventually gone_terminal
  [ "$(wc -l <"$MISCDISC_HOME/shell_history")" -eq 1000 ]
  [ "$(tail -n 1 "$MISCDISC_HOME/shell_history")" = "find x" ]
  [ "$(head -n 1 "$MISCDISC_HOME/shell_history")" = "version --json 102" ]
  rm -f tmux
  shell_on_terminal
  expect_screen "miscdisc>"
  type_keys Up
  expect_screen "miscdisc> find x"
}

@test "Ctrl-C clears the line, and ends a command but not the shell" {
  two_machines
  shell_on_terminal Alpha
  expect_screen "miscdisc Alpha>"
  type_keys "garbage"
  expect_screen "Alpha> garbage"
  type_keys C-c
  type_keys "hold Alpha --room Mix" Enter
  expect_screen "holding lobby Alpha, room Mix"
  type_keys C-c
  eventually gone net/Alpha/Mix.Room.lck
  [ -e net/Alpha/ann.cli ]
  type_keys "version" Enter
  expect_screen "library 12.0.2.0"
}

@test "when the terminal hangs up everything is let go" {
  two_machines
  shell_on_terminal Alpha --room Mix
  expect_screen "miscdisc Alpha/Mix>"
  terminal kill-server
  eventually gone net/Alpha/ann.cli
  expect_nothing_held
}

@test "what begins with a dash is no name, and shows how its word is used" {
  two_machines
  shell Alpha <<<"room go --help"
  expect_code 0
  grep -q "^  room go ROOM  *be in a room" data
  [ -z "$(find net/Alpha -name '*.lck')" ]
  shell Alpha <<<"leave -x"
  expect_code 2
  grep -q "^  leave  *let go of everything" data
}

@test "before each line it says what others have added and removed" {
  start_bus
  two_machines_with_a_drive
  start_reading ann shell Alpha
  eventually test -e net/Alpha/ann.cli
  heard() {
    as_bob miscdisc notify send --added bob_sees/Material/A.mxf >told
    say version
    grep -q "others have added [1-9]" ann.words
  }
  eventually heard
  as_bob miscdisc notify send --removed bob_sees/Material/A.mxf
  heard_of_removal() {
    say version
    grep -qx "miscdisc: others have removed 1 file" ann.words
  }
  eventually heard_of_removal
  end_with TERM "$last"
  exec 8>&-
  expect_nothing_held
}

@test "on a terminal hold says how it ends" {
  two_machines
  on_terminal "$MISCDISC_COMMAND" --timeout 60 hold Alpha --room "Edit 1"
  expect_screen '^holding lobby Alpha, room Edit 1, until Ctrl-C'
  type_keys C-c
  eventually gone_terminal
}
