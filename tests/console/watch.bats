# Looking on, in a pipe and on a terminal.
load setup
load terminal

start_watching() { # ARGUMENT...
  start watch watch "$@"
  eventually test -s watch.data
}

# jq's test of some event is true within a minute.
happens() { jq -se "any(.[]; $1)" watch.data >happening 2>&1; }
expect_event() { eventually happens "$1" || { cat watch.data watch.words; return 1; }; }
events() { jq -se "[.[] | select($1)] | length" watch.data; }

@test "in a pipe there is a line for what is there, and for every change" {
  start_bus
  two_machines_with_a_drive
  start_watching
  expect_event '.event == "drive_came" and .drive.id == "E"'
  expect_event '.event == "space_came" and .lobby == "Alpha"'
  as_bob start_holding bob hold Alpha --room "Edit 1"
  expect_event '.event == "person_came" and .person.user == "bob" and .person.held'
  expect_event '.event == "lock_taken" and .lock.kind == "room" and .lock.owner == "bob"'
  end_with TERM "$last"
  expect_event '.event == "lock_released" and .lock.owner == "bob"'
  expect_event '.event == "person_left" and .person.user == "bob"'
  mv media elsewhere
  expect_event '.event == "drive_went" and .drive.state == "not present"'
  mv elsewhere media
  eventually eval '[ "$(events ".event == \"drive_came\"")" -eq 2 ]'
  [ "$(jq -r .schema watch.data | sort -u)" = miscdisc.event/1 ]
  [ "$(jq -r .time watch.data | grep -cvE '^20..-..-..T..:..:..Z$')" -eq 0 ]
}

@test "files that others add and remove are events as they are told" {
  start_bus
  two_machines_with_a_drive
  start watch watch files
  eventually eval 'as_bob miscdisc --timeout 60 notify send --added bob_sees/Material/first.mxf >told &&
    happens ".event == \"file_added\""'
  as_bob miscdisc --timeout 60 notify send --added bob_sees/Material/A.mxf
  as_bob miscdisc --timeout 60 notify send --removed bob_sees/Sound/B.wav
  as_bob miscdisc --timeout 60 notify send --rescan
  as_bob miscdisc --timeout 60 notify send "nothing about files"
  expect_event '.event == "rescan"'
  expect_event '.event == "file_added" and .path == "'"$PWD"'/ann_sees/Material/A.mxf"'
  expect_event '.event == "file_removed" and .path == "'"$PWD"'/ann_sees/Sound/B.wav"'
  [ "$(jq -r .event watch.data | sort -u | paste -sd' ')" = "file_added file_removed messenger rescan" ]
  # One for each state, whatever is counted.
  [ "$(jq -sc '[.[] | select(.event == "messenger") | [.connected, .state]] | length - (unique | length)' watch.data)" -eq 0 ]
}

# The state of the messenger, as said last.
is_connected() {
  [ "$(jq -s '[.[] | select(.event == "messenger")] | last.connected' watch.data 2>/dev/null)" = "$1" ]
}

@test "what may have been told while the bus was away is a rescan" {
  start_bus
  two_machines_with_a_drive
  start watch watch files
  eventually is_connected true
  [ "$(events '.event == "rescan"')" -eq 0 ]
  local time
  for time in 1 2; do
    kill -KILL "$bus"
    end_bus
    eventually is_connected false
    start_bus
    eventually eval '[ "$(events ".event == \"rescan\"")" -eq '"$time"' ]'
    eventually is_connected true
    as_bob miscdisc --timeout 60 notify send --added "bob_sees/Material/$time.mxf"
    expect_event '.event == "file_added" and .path == "'"$PWD"'/ann_sees/Material/'"$time"'.mxf"'
  done
  [ "$(events '.event == "rescan"')" -eq 2 ]
}

@test "a drive that fills is a change" {
  two_machines_with_a_drive
  room_of media 3221225472 4294967296
  LD_PRELOAD="$PRETENDED_SPACE" start_watching drives
  expect_event '.event == "drive_came" and .drive.free == 3221225472'
  room_of media 1073741824 4294967296
  expect_event '.event == "drive_changed" and .drive.free == 1073741824'
  [ "$(jq -r .event watch.data | sort -u | paste -sd' ')" = "drive_came drive_changed" ]
}

@test "only what is asked for is watched" {
  two_machines_with_a_drive
  start_watching lobby
  as_bob start_holding bob hold Alpha
  expect_event '.event == "person_came"'
  [ "$(jq -r .event watch.data | sort -u | paste -sd' ')" = "person_came space_came" ]
  ask watch everything
  expect_code 2
}

@test "watching ends by a signal, and when nobody reads any more" {
  two_machines_with_a_drive
  start_watching
  end_with INT "$last"
  expect_code 130
  start_watching
  end_with TERM "$last"
  expect_code 143
  timeout 60 "$MISCDISC_COMMAND" watch 2>words | head -n 1 >data
  [ "${PIPESTATUS[0]}" -eq 0 ]
  [ "$(jq -r .schema data)" = miscdisc.event/1 ]
}

# A plain shell, in which it runs, so that what it leaves behind is seen.
on_plain_shell() { on_terminal "PS1='before> ' bash --norc --noprofile"; }

watched_with= # settings of the environment
patience=60   # seconds in which a folder that is there answers, however busy the machine is

watch_on_terminal() { # ARGUMENT...
  on_plain_shell
  type_keys "stty -g >modes.before; $watched_with '$MISCDISC_COMMAND' --timeout $patience watch $*; echo ended \$?; stty -g >modes.after" Enter
}

shows_no() { ! shows "$1"; }

# The terminal is as it was: its modes, the shell's own page, and the cursor.
expect_restored() { # EXIT-CODE
  expect_screen "ended $1"
  expect_screen "before> "
  eventually test -s modes.after
  diff modes.before modes.after
  shows_own_page
}

shows_own_page() { [ "$(terminal display-message -p '#{alternate_on} #{cursor_flag}')" = "0 1" ]; }

@test "on a terminal the page shows drives, people and locks, and changes in place" {
  start_bus
  two_machines_with_a_drive
  watch_on_terminal
  expect_screen "ann, lobby Alpha"
  expect_screen "DRIVE +STATE"
  expect_screen "E +.*ann_sees"
  as_bob start_holding bob hold Alpha --room "Edit 1"
  expect_screen "bob +live"
  expect_screen "room +Edit 1 +live +bob"
  expect_screen "messenger +dbus: connected to the session bus"
  as_bob miscdisc --timeout 60 notify send --added bob_sees/Material/A.mxf
  expect_screen "added +.*/ann_sees/Material/A.mxf"
  end_with TERM "$last"
  eventually shows_no "bob +live"
  type_keys q
  expect_restored 0
}

@test "keys sort the drives and freeze the page" {
  mkdir -p a/Material b/Material
  printf 'name=Zebra\n' >a/Material/MediaSpaceInfo.txt
  printf 'name=Ape\n' >b/Material/MediaSpaceInfo.txt
  printf '[volumes]\ndiscover = false\nE = "%s"\nF = "%s"\n' "$PWD/a" "$PWD/b" >"$MISCDISC_HOME/config.toml"
  watch_on_terminal drives
  expect_screen "E +.*Zebra"
  expect_screen "by id"
  row() { screen | grep -nE -- "$1" | head -n 1 | cut -d: -f1; }
  [ "$(row 'E +.*Zebra')" -lt "$(row 'F +.*Ape')" ]
  type_keys s
  expect_screen "by name"
  [ "$(row 'E +.*Zebra')" -gt "$(row 'F +.*Ape')" ]
  type_keys Space
  expect_screen "FROZEN"
  mv b elsewhere
  screen >frozen
  type_keys s
  expect_screen "by free"
  shows_no "not present"
  type_keys Space
  expect_screen "F +not present"
  type_keys q
  expect_restored 0
}

last_row_is() { [ "$(screen | tail -n 1)" = "$1" ]; }

@test "the page fits any window" {
  two_machines_with_a_drive
  watch_on_terminal
  expect_screen "E +.*ann_sees"
  local size keys="q quit  s sort (by id)  space freeze"
  for size in 20x5 3x2 1x1 200x50 120x30; do
    terminal resize-window -x "${size%x*}" -y "${size#*x}"
    eventually last_row_is "${keys:0:${size%x*}}"
  done
  expect_screen "E +.*ann_sees"
  type_keys q
  expect_restored 0
}

@test "the terminal is restored also when a signal ends it" {
  two_machines_with_a_drive
  local signal
  for signal in INT:130 TERM:143 HUP:129; do
    rm -f modes.after
    watch_on_terminal
    expect_screen "E +.*ann_sees"
    if [ "${signal%:*}" = INT ]; then
      type_keys C-c
    else
      signal_watch "${signal%:*}"
    fi
    expect_restored "${signal#*:}"
    terminal kill-server
    eventually gone_terminal
    rm -f tmux
  done
}

# The one in the terminal of this test.
signal_watch() { # SIGNAL
  local shell
  shell=$(terminal display-message -p '#{pane_pid}')
  kill "-$1" "$(pgrep -P "$shell")"
}

@test "the terminal is restored also when the command breaks" {
  two_machines_with_a_drive
  watch_on_terminal
  expect_screen "E +.*ann_sees"
  signal_watch ABRT
  expect_restored 134
}

@test "it can be stopped, and goes on where it was" {
  two_machines_with_a_drive
  on_plain_shell
  type_keys "stty -g >modes.before; '$MISCDISC_COMMAND' --timeout $patience watch" Enter
  expect_screen "E +.*ann_sees"
  type_keys C-z
  expect_screen "Stopped"
  eventually shows_own_page
  type_keys "stty -g >modes.stopped" Enter
  eventually test -s modes.stopped
  diff modes.before modes.stopped
  type_keys fg Enter
  expect_screen "E +.*ann_sees"
  eventually shows_no "before>"
  # Nobody can be asked to leave the terminal first.
  signal_watch STOP
  expect_screen "Stopped"
  type_keys "clear; fg" Enter
  expect_screen "DRIVE +STATE"
  expect_screen "E +.*ann_sees"
  type_keys s
  expect_screen "by name"
  type_keys q
  expect_screen "before> "
  type_keys "echo ended \$?; stty -g >modes.after" Enter
  expect_restored 0
}

@test "what ends the watching is said on the terminal as it was, and in a pipe" {
  two_machines_with_a_drive
  watched_with="LD_PRELOAD='$WATCHED_PAGE'"
  watch_on_terminal drives
  expect_screen "E +.*ann_sees"
  : >no_memory
  expect_restored 1
  expect_screen "miscdisc: watching has ended, as something failed: std::bad_alloc"
  code=0
  LD_PRELOAD="$WATCHED_PAGE" "$MISCDISC_COMMAND" --timeout 60 watch drives >data 2>words || code=$?
  expect_code 1
  expect_words "watching has ended, as something failed: std::bad_alloc.  Start it again"
}

@test "texts by the hundred do not draw the page for each" {
  start_bus
  two_machines_with_a_drive
  local files=(media/Material/{1001..1800}.mxf) start
  touch "${files[@]}"
  watched_with="LD_PRELOAD='$WATCHED_PAGE' DRAWS='$PWD/draws'"
  start=$SECONDS
  watch_on_terminal files
  expect_screen "messenger +dbus: connected to the session bus"
  # A few at a time, so that they do not come in all at once.
  printf '%s\n' "${files[@]/media/bob_sees}" | as_bob xargs -n 40 "$MISCDISC_COMMAND" --timeout 60 cache add >told
  expect_screen "added +.*/ann_sees/Material/1800.mxf"
  expect_screen "messenger +dbus: connected to the session bus; received 800"
  # Two a second, the first, and those of a terminal that was made.
  [ "$(stat -c %s draws)" -le $((2 * (SECONDS - start + 1) + 4)) ] || { ls -l draws; return 1; }
  type_keys q
  expect_restored 0
}

@test "storage that hangs keeps nobody from reading keys or leaving" {
  two_machines_with_a_drive
  mkdir hung
  sed -i "s|^E = .*|&\nF = \"$PWD/hung\"|" "$MISCDISC_HOME/config.toml"
  hang_on hung
  # A search for leaks stops every thread, and so waits for ever for one that hangs.
  export ASAN_OPTIONS=detect_leaks=0
  patience=1
  watch_on_terminal
  expect_screen "F +not answering"
  expect_screen "E +(ok|low|full)"
  type_keys s
  expect_screen "by name"
  type_keys q
  expect_restored 0
}

@test "a terminal that no page can be drawn on is said" {
  two_machines_with_a_drive
  on_plain_shell
  type_keys "TERM=nonsense '$MISCDISC_COMMAND' watch; echo ended \$?" Enter
  expect_screen "no page can be drawn on this terminal"
  expect_screen "ended 1"
}
