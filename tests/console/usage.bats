load setup

refused() { # WORDS, then what is typed
  local said=$1
  shift
  code=0
  miscdisc "$@" >data 2>words || code=$?
  expect_code 2
  [ ! -s data ]
  diff <(printf 'miscdisc: %b\n' "$said") words || { echo "typed: $*"; return 1; }
}

@test "a mistyped command is told with the one that may be meant" {
  refused 'there is no command drvies; did you mean drives?\nTry: miscdisc --help' drvies
  refused 'there is no command rooms; did you mean room?\nTry: miscdisc --help' rooms list
  refused 'there is no command help\nTry: miscdisc --help' help
  refused 'there is no command xyzzy\nTry: miscdisc --help' xyzzy
  refused 'lobby has no command lst; did you mean list?  It has: list, show, use, create, delete\nTry: miscdisc lobby --help' \
    lobby lst
  refused 'project has no command open.  It has: list, who\nTry: miscdisc project --help' \
    --json project open
}

@test "a family without a command says which it has" {
  refused 'room needs a command: list, check, go\nTry: miscdisc room --help' room
  for family in drives lobby config cache notify; do
    ask "$family"
    expect_code 2
    expect_words "$family needs a command: "
  done
}

@test "what is missing is shown by the help of that command" {
  refused 'NAME is required\nTry: miscdisc find --help' find
  refused 'FOLDER is required\nTry: miscdisc drives add --help' drives add
}

@test "a mistyped option is told with the one that may be meant" {
  refused 'there is no option --rom; did you mean --room?\nTry: miscdisc hold --help' \
    hold Alpha --rom x
  refused 'there is no option --rom; did you mean --room?\nTry: miscdisc hold --help' \
    hold Alpha --rom=x
  refused 'there is no option --jsno; did you mean --json?\nTry: miscdisc status --help' \
    status --jsno
  refused 'there is no option -x\nTry: miscdisc status --help' status -x
}

@test "a command without its dashes is told where they go" {
  refused 'put -- before the command: miscdisc with Alpha -- ls\nTry: miscdisc with --help' \
    with Alpha ls
  refused "put -- before the command: miscdisc with Alpha --room 'Edit 1' -- ls -l\nTry: miscdisc with --help" \
    with Alpha --room "Edit 1" ls -l
  refused 'put -- before the command: miscdisc with ls -- ls\nTry: miscdisc with --help' with ls ls
  refused '"x" is one word too many for with: put quotes around a text or name with blanks\nTry: miscdisc with --help' \
    with Alpha x -- ls
}

@test "texts and names with blanks want quotes" {
  refused '"finished" is one word too many for notify send: put quotes around a text or name with blanks\nTry: miscdisc notify send --help' \
    notify send render finished
  refused '"x" is one word too many for status\nTry: miscdisc status --help' status x
}

@test "seconds are a number, in the bounds that are said" {
  refused '--for: a number of seconds was expected, such as 60, not x\nTry: miscdisc locks wait --help' \
    locks wait x --for x
  refused '--for: a number of seconds was expected, such as 60, not nan\nTry: miscdisc locks wait --help' \
    locks wait x --for nan
  refused '--for: a number of seconds was expected, such as 60, not 5s\nTry: miscdisc locks wait --help' \
    locks wait x --for 5s
  refused '--timeout: 0.001 to 3600 seconds were expected, not 0\nTry: miscdisc status --help' \
    status --timeout 0
}

@test "help of a command says where the options of every command are" {
  local command
  for command in status drives "drives list" with "notify setup"; do
    ask $command --help
    expect_code 0
    [ "$(tail -n 1 data)" = "Options of every command: miscdisc --help" ] || { cat data; return 1; }
  done
  ask --help
  expect_none 'Options of every command' data
  grep -q -- '--yes  *Do what would be refused without it$' data
}
