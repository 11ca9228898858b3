load setup

@test "a setting is kept, printed and listed" {
  ask config set "network project root" /mnt/nas/projects
  expect_code 0
  expect_words '"network project root" is now "/mnt/nas/projects"'
  [ ! -s data ]
  ask config get "network project root"
  expect_code 0
  expect_data /mnt/nas/projects
  ask config set colour grey --section Preferences -q
  [ ! -s words ]
  ask config list
  expect_data "Configuration	network project root	/mnt/nas/projects" "Preferences	colour	grey"
  ask config list --json
  [ "$(jq -c .entries data)" = '[{"section":"Configuration","key":"network project root","value":"/mnt/nas/projects"},{"section":"Preferences","key":"colour","value":"grey"}]' ]
}

@test "set --json prints what is kept now" {
  ask config set colour grey --section Preferences --json
  expect_code 0
  [ "$(jq -c . data)" = '{"schema":"miscdisc.config/1","section":"Preferences","key":"colour","value":"grey"}' ]
}

@test "an absent setting is exit 4" {
  ask config get none
  expect_code 4
  expect_words '"none" is not set in section "Configuration".'
  [ ! -s data ]
}

@test "a root is a full path, and a key that nobody reads is said" {
  for key in "network project root" "network material root"; do
    ask config set "$key" nas
    expect_code 2
    expect_words "\"$key\" is the full path of a folder, which begins with \"/\", not \"nas\"; did you mean \"$PWD/nas\"?  Nothing was changed."
    ask config set "$key" ""
    expect_code 0
    ask config set "$key" nas --section Preferences
    expect_code 0
  done
  ask config set "network projekt root" /x
  expect_code 0
  expect_words 'this program reads no "network projekt root"; did you mean "network project root"?  It is kept all the same'
  ask config get "network projekt root"
  expect_data /x
  ask config set colour grey
  expect_words 'this program reads no "colour".  It is kept all the same'
  for key in "network lobby name" "last network lobby name" log_incoming_net_messages; do
    ask config set "$key" 0
    expect_none "reads no" words
  done
}

@test "a value of any bytes comes back" {
  ask config set k $'a\xff\nb'
  ask config get k
  expect_data 'a\xFF\nb'
  ask config get k --json
  [ "$(jq -r .value_hex data)" = 61ff0a62 ]
}

@test "path says where the files are, also while they are broken" {
  echo 'broken' >"$MISCDISC_HOME/config.toml"
  ask config path
  expect_code 0
  expect_data "config	$MISCDISC_HOME/config.toml" "state	$MISCDISC_HOME/state.toml"
}

@test "a configuration that does not parse is exit 2 and stays as it is" {
  printf '[volumes]\nE = 5\n' >"$MISCDISC_HOME/config.toml"
  printf 'broken' >"$MISCDISC_HOME/state.toml"
  snapshot >snapshot.before
  for command in "find x" "cache stats" "cache validate" "cache dump" "config get k" \
    "config set k v" "config list" "status"; do
    ask $command
    expect_code 2
  done
  ask config set k v
  expect_words "$MISCDISC_HOME/config.toml:2:5: volume E: the full path of a folder, in quotes, was expected"
  expect_words "$MISCDISC_HOME/state.toml:1:"
  snapshot | diff snapshot.before -
}

@test "a setting that nobody knows is told by every command, which works all the same" {
  local file="$MISCDISC_HOME/config.toml"
  printf '[volume]\nE = "/e"\n[machine]\nusr = "ann"\n' >"$file"
  ask config set k v --section Preferences
  expect_code 0
  diff - words <<END
miscdisc: $file:1:2: there is no section [volume]; did you mean [volumes]?
miscdisc: $file:4:1: there is no setting "usr" in [machine]; did you mean "user"?
miscdisc: "k" is now "v"
END
  ask config get k --section Preferences
  expect_code 0
  expect_data v
  [ "$(grep -c 'there is no' words)" -eq 2 ]
  ask -q config get k --section Preferences
  [ ! -s words ]
}

@test "every setting of the documents is known" {
  sed -n '/^```toml/,/^```/{//!p}' "$BATS_TEST_DIRNAME/../../docs/configuration.md" \
    >"$MISCDISC_HOME/config.toml"
  [ "$(grep -c ' = ' "$MISCDISC_HOME/config.toml")" -ge 19 ]
  ask config list
  expect_code 0
  [ ! -s words ] || { cat words; return 1; }
  # So a name that the reader does not look for would be seen here.
  sed -i 's/^\[\([a-z]*\)\]/&\nother_\1 = 1/' "$MISCDISC_HOME/config.toml"
  sed -i '/^other_\(volumes\|shares\)/d' "$MISCDISC_HOME/config.toml" # where names are people's own
  ask config list
  expect_code 0
  [ "$(grep -c 'there is no setting "other_' words)" -eq 5 ] || { cat words; return 1; }
}

@test "a home that cannot be written is a failure" {
  rm -r "$MISCDISC_HOME"
  touch "$MISCDISC_HOME"
  ask config set k v
  expect_code 1
  expect_words '"k" could not be stored in'
}

@test "an unknown option or command is a usage error" {
  ask --bogus
  expect_code 2
  ask bogus
  expect_code 2
  ask config
  expect_code 2
  ask --color blue status
  expect_code 2
}
