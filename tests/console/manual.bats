load setup

# The manual pages, and what they are made of.

root="$BATS_TEST_DIRNAME/../.."
pages=("$root/docs/man/miscdisc.1" "$root/docs/man/miscdisc.toml.5")

@test "the pages have the options and settings of now" {
  "$root/scripts/manual_tables" --check "$MISCDISC_COMMAND"
}

@test "an option or setting that a page lacks is seen" {
  mkdir -p copy/scripts copy/docs
  cp "$root/scripts/manual_tables" copy/scripts
  cp -r "$root/docs/man" "$root/docs/configuration.md" copy/docs
  sed -i '/^\.It Fl -dry-run/d' copy/docs/man/miscdisc.1
  sed -i 's/^low_minutes/lowest_minutes/' copy/docs/configuration.md
  code=0
  copy/scripts/manual_tables --check "$MISCDISC_COMMAND" 2>words || code=$?
  expect_code 1
  expect_words "docs/man/miscdisc.1 does not have the options and settings of now"
  expect_words "docs/man/miscdisc.toml.5 does not have"
  copy/scripts/manual_tables "$MISCDISC_COMMAND"
  copy/scripts/manual_tables --check "$MISCDISC_COMMAND"
  diff "$root/docs/man/miscdisc.1" copy/docs/man/miscdisc.1
}

@test "every command and every option is in the page" {
  miscdisc --help | sed -n '/^Subcommands:/,$s/^  \([a-z]\+\) .*/\1/p' >commands
  [ "$(wc -l <commands)" -gt 15 ]
  while read -r command; do
    grep -qx "\.Ss miscdisc $command" "${pages[0]}" || { echo "missing: $command"; return 1; }
  done <commands
  miscdisc notify setup --help | grep -o -- '--[a-z]*' >options
  while read -r option; do
    grep -q "^\.It.* Fl -${option#--}" "${pages[0]}" || { echo "missing: $option"; return 1; }
  done <options
}

@test "the page says how a command is called" {
  while read -r use; do
    grep -qxF "$use" "${pages[0]}" || { echo "missing: $use"; return 1; }
  done <<'END'
.Nm Cm notify send Oo Fl -lobby Ar LOBBY Oc Ar TEXT | Fl -added Ar FILE | Fl -removed Ar FILE | Fl -rescan
.Nm Cm with Oo Fl -room Ar ROOM Oc Oo Fl -project Ar PROJECT Oc Ar LOBBY Fl - Ar COMMAND ...
.Nm Cm drives check Oo Fl -min-minutes Ar MINUTES@FORMAT Oc Oo Fl -min-free Ar SIZE Oc Oo Ar DRIVE ... Oc
END
}

@test "man and mandoc have nothing to say about them" {
  for page in "${pages[@]}"; do
    LC_ALL=C.UTF-8 man --warnings -l "$page" >shown 2>words
    [ ! -s words ] || { cat words; return 1; }
    grep -q 'SEE ALSO' shown
  done
  # Lines are as long as elsewhere here, and these pages need not be installed.
  mandoc -Tlint "${pages[@]}" |
    grep -v -e 'STYLE: input text line longer than 80 bytes' -e 'STYLE: referenced manual not found' \
      >words || true
  [ ! -s words ] || { cat words; return 1; }
}

@test "every setting of the page is one: what is no value of it is refused" {
  sed -n '/^```toml/,/^```/{//!p}' "$root/docs/configuration.md" >settings
  cp settings "$MISCDISC_HOME/config.toml"
  ask config list
  expect_code 0
  grep -n ' = ' settings | cut -d: -f1 >lines
  [ "$(wc -l <lines)" -ge 19 ]
  while read -r line; do
    sed "${line}s/= .*/= 1979-05-27/" settings >"$MISCDISC_HOME/config.toml"
    ask config list
    expect_code 2 || { sed -n "${line}p" settings; return 1; }
    expect_words "config.toml:$line:"
  done <lines
}

@test "every setting that is read is in a document" {
  grep -ohE '"[a-z][a-z_]+"' "$root/host/settings.cpp" | tr -d '"' | sort -u >names
  [ "$(wc -l <names)" -gt 20 ]
  while read -r name; do
    grep -qw "$name" "$root/docs/configuration.md" "$root/docs/formats.md" ||
      { echo "in no document: $name"; return 1; }
  done <names
}

@test "what is below the options is filled, and what each shell wants is a list" {
  miscdisc manual >page
  expect_none '^\.Bd' page
  grep -qx 'In a pipe, or with .*, one JSON document a line for each event, first for what is there, until HUP, INT or TERM\.' page
  grep -A1 -x '\.It zsh' page | grep -q '^source <(miscdisc completion zsh), in'
}
