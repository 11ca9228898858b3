load setup
load machines
load terminal

# The command is called by its name, as people do.
setup_shell() {
  two_machines
  mkdir -p bin
  printf '#!/bin/sh\nexec "%s" --timeout 60 "$@"\n' "$MISCDISC_COMMAND" >bin/miscdisc
  chmod +x bin/miscdisc
  export PATH="$PWD/bin:$PATH" SHELL=/bin/sh
}

# What may follow, without its help.
offered() { # WORD...
  ask completion bash --next -- --timeout 60 "$@"
  expect_code 0
  tail -n +2 data | cut -f1 | sort
}

kind() { # WORD...
  ask completion bash --next -- --timeout 60 "$@"
  head -n 1 data
}

shows_text() { screen | grep -qF -- "$1"; }

expect_text() { # TEXT: within a minute the screen has it, as it stands
  eventually shows_text "$1" || { screen; return 1; }
}

# What the options say themselves.
commands_in_help() { # COMMAND...
  miscdisc "$@" --help | sed -n '/^Subcommands:/,$s/^  \([a-z]\+\) .*/\1/p' | sort
}

options_in_help() { # COMMAND...
  { miscdisc --help; miscdisc "$@" --help; } | grep -o '^ *\(-.,\)\?--[a-z-]*' |
    grep -o -- '--.*' | sort -u
}

expect_all_offered() { # COMMAND...
  local inner commands missing
  diff <(options_in_help "$@") <(offered "$@" -) || { echo "options of: $*"; return 1; }
  commands=$(commands_in_help "$@")
  [ -n "$commands" ] || return 0
  missing=$(comm -23 - <(offered "$@" "") <<<"$commands")
  [ -z "$missing" ] || { echo "not offered after \"$*\": $missing"; return 1; }
  for inner in $commands; do
    expect_all_offered "$@" "$inner" || return 1
    ((++seen))
  done
}

@test "every command and every option is offered" {
  seen=0
  expect_all_offered
  [ "$seen" -gt 40 ]
}

@test "what is hidden from help is not offered" {
  [ -z "$(offered "" | grep -x manual)" ]
  [ -z "$(offered completion - | grep -x -- --next)" ]
  [ -z "$(offered doctor share - | grep -x -- --process)" ]
}

@test "values are offered where they are a fixed set" {
  [ "$(offered --color "" | xargs)" = "always auto never" ]
  [ "$(offered --color=a | xargs)" = "--color=always --color=auto --color=never" ]
  [ "$(offered drives plan --fit "" | xargs)" = "best most" ]
  [ "$(offered watch "" | xargs)" = "drives files lobby" ]
  [ "$(offered completion "" | xargs)" = "bash fish zsh" ]
}

@test "nothing is offered where anything may stand, or nothing more" {
  for words in "find" "lobby create" "drives rename E" "status"; do
    [ -z "$(offered $words "")" ]
    [ "$(kind $words "")" = words ]
  done
  [ -z "$(offered watch files "")" ]
}

@test "lobbies, rooms, projects and locks are offered by name" {
  two_machines
  miscdisc -q config set "network lobby name" Alpha
  mkdir -p net/Beta
  touch net/Beta/DefNetDrive.txt "net/Beta/Mix 2.Room"
  diff <(offered lobby use "") <(printf 'Alpha\nBeta\n')
  diff <(offered notify send --lobby "") <(printf 'Alpha\nBeta\n')
  diff <(offered room check "") <(printf 'Edit 1\nMix\n')
  diff <(offered locks wait "") <(printf 'Edit 1\nMix\nP0001000\n')
  diff <(offered project who "") <(printf 'P0001000\n')
  # Of the lobby in the line, before that of the configuration.
  diff <(offered with Beta --room "") <(printf 'Mix 2\n')
  diff <(offered hold Beta --room=M) <(printf -- '--room=Mix 2\n')
  diff <(offered hold --room "") <(printf 'Edit 1\nMix\n')
  # A value that the option itself refuses is left out of account.
  ask completion bash --next -- --timeout nan lobby use ""
  diff <(tail -n +2 data | cut -f1) <(printf 'Alpha\nBeta\n')
}

@test "drives, tasks, hidden volumes, formats and keys are offered" {
  two_locations
  miscdisc -q --timeout 60 drives task Capture '#1'
  diff <(offered drives show "") <(printf '#1\n#2\nE\n')
  diff <(offered drives check E "") <(printf '#1\n#2\nE\n')
  diff <(offered drives task "") <(printf 'Capture\n')
  miscdisc -q --timeout 60 drives remove E
  diff <(offered drives unhide "") <(printf '%s/\n' "$PWD/e")
  offered drives list --format "" | grep -qx dv25
  offered config get "" | grep -qx "network project root"
}

@test "the shell is told where it must offer files, folders or commands" {
  [ "$(kind drives restore "")" = files ]
  [ "$(kind notify setup --ca "")" = files ]
  [ "$(kind notify setup --ca=/etc)" = files ]
  [ "$(kind drives add "")" = folders ]
  [ "$(kind doctor share "")" = folders ]
  [ "$(kind with Alpha -- "")" = command ]
  [ "$(kind with Alpha -- rsync --)" = command ]
}

@test "beside a word stands what it is, in a sentence" {
  ask completion zsh --next -- ""
  grep -q "^doctor	Find what dead machines left .* this one is set up\.$" data
}

@test "completion without a shell, or of an unknown one, is a usage error" {
  ask completion
  expect_code 2
  ask completion tcsh
  expect_code 2
  ask completion bash --next
  expect_code 2
  expect_words "the words of a line"
}

# The words that bash would offer for the last one.
in_bash() { # WORD...
  bash --norc -c '
    source <(miscdisc completion bash)
    COMP_WORDS=(miscdisc "$@") COMP_CWORD=$#
    _miscdisc miscdisc
    [ "${#COMPREPLY[@]}" -eq 0 ] || printf "%s\n" "${COMPREPLY[@]}"' bash "$@"
}

@test "bash offers words, names in their quotes, and files" {
  setup_shell
  miscdisc -q config set "network lobby name" Alpha
  diff <(in_bash dr) <(echo drives)
  diff <(in_bash drives li) <(echo list)
  diff <(in_bash room check Ed) <(echo 'Edit\ 1')
  diff <(in_bash room check '"Ed') <(echo 'Edit 1')
  diff <(in_bash room check 'Edit\ ') <(echo 'Edit\ 1')
  diff <(in_bash --color = al) <(echo always)
  diff <(in_bash --color =) <(printf 'auto\nalways\nnever\n')
  diff <(in_bash --plain ro) <(echo room)
  touch "drives of ann.txt"
  diff <(in_bash drives restore dr) <(echo 'drives of ann.txt')
  diff <(in_bash space use n) <(echo net)
  diff <(in_bash with Alpha --room Mix -- setpri) <(echo setpriv)
  diff <(in_bash with Alpha -- ls dr) <(echo 'drives of ann.txt')
}

@test "bash completes what is typed" {
  setup_shell
  touch "drives of ann.txt"
  on_terminal bash --norc
  type_keys 'PS1="$ "; source <(miscdisc completion bash)' Enter
  type_keys "miscdisc lob" Tab "us" Tab "Al" Tab Enter
  expect_text '$ miscdisc lobby use Alpha'
  eventually grep -q Alpha "$MISCDISC_HOME/state.toml"
  type_keys "clear" Enter "miscdisc room check Ed" Tab
  expect_text 'miscdisc room check Edit\ 1'
  type_keys C-u 'clear' Enter 'miscdisc drives restore dr' Tab
  expect_text 'miscdisc drives restore drives\ of\ ann.txt'
}

@test "zsh completes what is typed" {
  setup_shell
  touch "drives of ann.txt"
  on_terminal zsh -f
  type_keys 'PS1="$ "; autoload -U compinit; compinit -D -u' Enter
  type_keys 'source <(miscdisc completion zsh)' Enter
  type_keys "miscdisc lob" Tab "us" Tab "Al" Tab Enter
  eventually grep -q Alpha "$MISCDISC_HOME/state.toml" || { screen; false; }
  type_keys "clear" Enter "miscdisc room check Ed" Tab
  expect_text 'miscdisc room check Edit\ 1'
  type_keys C-u 'clear' Enter 'miscdisc drives restore dr' Tab
  expect_text 'miscdisc drives restore drives\ of\ ann.txt'
  type_keys C-u 'clear' Enter 'miscdisc with Alpha -- setpri' Tab
  expect_text 'miscdisc with Alpha -- setpriv'
  type_keys C-u 'clear' Enter 'miscdisc drives r' Tab Tab
  expect_text 'Give a drive another name'
}

@test "the file for zsh works from the folder in which it is installed" {
  setup_shell
  mkdir functions
  miscdisc completion zsh >functions/_miscdisc
  zsh -n functions/_miscdisc
  on_terminal zsh -f
  type_keys 'PS1="$ "; fpath=(functions $fpath); autoload -U compinit; compinit -D -u' Enter
  type_keys "miscdisc lob" Tab "us" Tab "Al" Tab Enter
  eventually grep -q Alpha "$MISCDISC_HOME/state.toml" || { screen; false; }
}

in_fish() { # LINE
  local ask='source (miscdisc completion fish | psub); complete -C $argv[1]'
  HOME=$PWD fish --no-config -c "$ask" -- "$1"
}

@test "fish offers words with what they are, names, and files" {
  setup_shell
  miscdisc -q config set "network lobby name" Alpha
  diff <(in_fish "miscdisc dr") <(printf 'drives\tLook at the media drives, or change them\n')
  diff <(in_fish "miscdisc room check Ed") <(echo 'Edit 1')
  diff <(in_fish "miscdisc --color=al") <(echo --color=always)
  diff <(in_fish "miscdisc lobby use ''") <(echo Alpha)
  touch "drives of ann.txt"
  diff <(in_fish "miscdisc drives restore dr" | cut -f1) <(echo 'drives of ann.txt')
  diff <(in_fish "miscdisc space use n" | cut -f1) <(echo net/)
  in_fish "miscdisc with Alpha -- setpri" | grep -q ^setpriv
}
