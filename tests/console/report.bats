# The status as a page, and as figures for monitoring.
load setup
load lobby
load machines
load bus

teardown() {
  end_started
  stop_machines
  end_hanging
  end_bus
}

expect_page() { # the page contains the text
  grep -qF -- "$1" page.html || { echo "not in the page: $1"; cat page.html; return 1; }
}

expect_metric() { # LINE
  grep -qxF -- "$1" figures.prom || { echo "not there: $1"; cat figures.prom; return 1; }
}

# What may stand in such a file: HELP, TYPE and then samples of that name, no series twice.
check_metrics() { # FILE
  awk '
    /^# HELP miscdisc_[a-z_]+ [A-Z].*\.$/ { help = $3; next }
    /^# TYPE miscdisc_[a-z_]+ gauge$/ { if ($3 != help || seen[$3]++) wrong(); name = $3; next }
    /^miscdisc_[a-z_]+(\{[a-z]+="([^"\\]|\\[\\"n])*"(,[a-z]+="([^"\\]|\\[\\"n])*")*\})? [0-9]+$/ {
      series = $0
      sub(/ [0-9]+$/, "", series)
      metric = series
      sub(/\{.*/, "", metric)
      if (metric != name || twice[series]++) wrong()
      next
    }
    { wrong() }
    function wrong() { print "line " NR ": " $0; bad = 1 }
    END { exit bad || NR == 0 }' "$1"
  iconv -f UTF-8 -t UTF-8 "$1" >/dev/null
}

# A page is text between elements that are closed, and needs nothing from outside.
check_page() { # FILE
  iconv -f UTF-8 -t UTF-8 "$1" >/dev/null
  [ "$(head -n 1 "$1")" = '<!DOCTYPE html>' ]
  [ "$(tail -n 1 "$1")" = '</html>' ]
  local kind
  for kind in html head body main section ul li h1 h2 h3 div p dl table thead tbody tr th td bdi \
    span style title header footer strong; do
    [ "$(grep -oE "<$kind[ >]" "$1" | wc -l)" -eq "$(grep -o "</$kind>" "$1" | wc -l)" ] ||
      { echo "not closed: $kind"; return 1; }
  done
  expect_none '<(script|link|img|iframe|object|a )|<[a-z][^>]*(src|href)=|url\(|@import' "$1"
}

# In Alpha bob works in a room, and ann has left her login behind.
busy_lobby() {
  share
  two_locations_in_lobby
  start_machine bob bob
  tell bob "enter Alpha"
  tell bob "room Edit 1.Room"
  : >net/Alpha/ann.cli
}

@test "the page shows drives, people, locks and warnings" {
  busy_lobby
  touch -d 2026-01-02T03:04:05Z net/Alpha/*.cli net/Alpha/*.lck
  export TZ=UTC0
  ask_pretended report --html page.html
  expect_code 0
  [ ! -s data ]
  [ ! -s words ]
  check_page page.html
  expect_page '<h1><bdi>Alpha</bdi></h1>'
  expect_page "<title>Alpha - $(hostname)</title>"
  expect_page '<h3>#1 <bdi>a</bdi></h3> <span class="state good">ok</span>'
  expect_page 'aria-label="#1 (a): how much is used" aria-valuemin="0" aria-valuemax="100" aria-valuenow="75" aria-valuetext="75 % used, 100.0 GiB free"><i style="width:75.00%"></i>'
  expect_page '<strong>100.0 GiB</strong> free of 400.0 GiB'
  expect_page '<div><dt>dv25</dt><dd>599 min</dd></div>'
  expect_page 'reserve: the last 30 min of dv25, in which a drive is low'
  expect_page '<tr><th scope="row"><bdi>bob</bdi></th><td><span class="state good">live</span></td><td><time datetime="2026-01-02T03:04:05Z"><span>2026-01-02</span> <span>03:04</span></time></td></tr>'
  expect_page '<tr><th scope="row"><bdi>ann</bdi> (here)</th><td><span class="state warn">stale</span></td>'
  expect_page '<tr><th scope="row">room <bdi>Edit 1</bdi></th><td><bdi>bob</bdi></td><td><span class="state good">live</span></td>'
  expect_page '<span class="state warn">2 warnings</span>'
  expect_page "<li class=\"alert warn\">ann&#39;s login is a leftover: "
  expect_none 'http-equiv="refresh"' page.html
  ask report --html page.html --refresh 30
  expect_page '<meta http-equiv="refresh" content="30">'
}

# The drives of the lobby Alpha: one of 400 GiB with 100 free, one that is full.
two_locations_in_lobby() {
  mkdir -p {a,b,"$MISCDISC_HOME/media"}/{Material,Sound}
  printf '%s/\n' "$PWD/a" "$PWD/b" >net/Alpha/DefNetDrive.txt
  room_of a $((100 << 30)) $((400 << 30))
  room_of b 0 $((400 << 30))
  room_of "$MISCDISC_HOME/media" $((100 << 30)) $((400 << 30))
}

@test "the figures are in bytes and seconds, by drive, and count people and locks" {
  busy_lobby
  local before=$(date +%s)
  ask_pretended report --prometheus figures.prom
  expect_code 0
  check_metrics figures.prom
  expect_metric "miscdisc_drive_up{drive=\"#1\",path=\"$PWD/a\"} 1"
  expect_metric "miscdisc_volume_answered{drive=\"#1\",path=\"$PWD/a\"} 1"
  expect_metric "miscdisc_drive_free_bytes{drive=\"#1\",name=\"a\",path=\"$PWD/a\"} 107374182400"
  expect_metric "miscdisc_drive_size_bytes{drive=\"#1\",name=\"a\",path=\"$PWD/a\"} 429496729600"
  expect_metric "miscdisc_drive_recording_seconds{drive=\"#1\",name=\"a\",path=\"$PWD/a\",format=\"dv25\"} 35940"
  expect_metric "miscdisc_drive_recording_seconds{drive=\"#2\",name=\"b\",path=\"$PWD/b\",format=\"dv25\"} 0"
  expect_metric "miscdisc_space_answered{lobby=\"Alpha\",path=\"$PWD/net/Alpha/\"} 1"
  expect_metric 'miscdisc_lobby_people{state="live"} 1'
  expect_metric 'miscdisc_lobby_people{state="stale"} 1'
  expect_metric 'miscdisc_locks{kind="room",state="live"} 1'
  expect_metric 'miscdisc_locks{kind="project",state="live"} 0'
  expect_metric 'miscdisc_messenger_connected{engine="dbus"} 0'
  expect_metric 'miscdisc_report_complete 1'
  expect_metric 'miscdisc_warnings 2'
  local made
  made=$(sed -n 's/^miscdisc_report_timestamp_seconds //p' figures.prom)
  [ "$made" -ge "$before" ]
  [ "$made" -le "$(date +%s)" ]
}

@test "without a lobby there are no people, and nothing is said of the messenger" {
  three_volumes
  ask report --html page.html --prometheus figures.prom
  expect_code 0
  check_page page.html
  check_metrics figures.prom
  expect_page '<h1><bdi>Local project space</bdi></h1>'
  expect_page '<p>Nothing is locked.</p>'
  expect_none 'People in the lobby' page.html
  expect_none 'miscdisc_(lobby_people|messenger)' figures.prom
  expect_metric "miscdisc_space_answered{lobby=\"\",path=\"$MISCDISC_HOME/projects/\"} 1"
  expect_metric 'miscdisc_locks{kind="room",state="live"} 0'
}

@test "names from outside are text, whatever is in them" {
  share
  local evil=$'<script>alert(1)<!-- & "q" \'s\' \\ \xff\n<b>' owner=$'<img src=x>"\xfe'
  mkdir -p "net/$evil/P0001000" "d<i>/Material" "d<i>/Sound"
  printf '%s/\n' "$PWD/d<i>" >"net/$evil/DefNetDrive.txt"
  : >"net/$evil/<td>\"'&.Room.lck"
  printf '%s' "$owner" >"net/$evil/<td>\"'&.Room.lck.inf"
  : >"net/$evil/<u>&.cli"
  export MISCDISC_LOBBY=$evil
  miscdisc -q drives rename '#1' '<h1>"Rushes" &\'
  ask report --html page.html --prometheus figures.prom
  check_page page.html
  check_metrics figures.prom
  expect_page '&lt;script&gt;alert(1)&lt;!-- &amp; &quot;q&quot; &#39;s&#39; \\ \xFF\n&lt;b&gt;</bdi></h1>'
  expect_page 'room <bdi>&lt;td&gt;&quot;&#39;&amp;</bdi></th><td><bdi>&lt;img src=x&gt;&quot;\xFE</bdi>'
  expect_page '<th scope="row"><bdi>&lt;u&gt;&amp;</bdi></th>'
  expect_page '<h3>#1 <bdi>&lt;h1&gt;&quot;Rushes&quot; &amp;\\</bdi></h3>'
  grep -qF 'lobby="<script>alert(1)<!-- & \"q\" '"'s'"' \\ '$'\xef\xbf\xbd''\n<b>",path="' figures.prom
  grep -qF 'name="<h1>\"Rushes\" &\\",path=' figures.prom
}

@test "a volume that is away, or does not answer, is said, and the report is written all the same" {
  two_locations
  rm -r a b/Material b/Sound
  hang_on b
  ask_hanging report --html page.html --prometheus figures.prom
  expect_code 3
  expect_words "drive #1 is not present: $PWD/a is no folder"
  expect_words "drive #2 is not answering: nothing came from $PWD/b in 1 s"
  check_page page.html
  check_metrics figures.prom
  expect_page '<span class="state bad">incomplete: not everything could be seen</span>'
  expect_page '<li class="alert bad">drive #2 is not answering: '
  expect_page '<span class="state bad">not present</span>'
  expect_metric "miscdisc_drive_up{drive=\"E\",path=\"$PWD/e\"} 1"
  expect_metric "miscdisc_drive_up{drive=\"#1\",path=\"$PWD/a\"} 0"
  expect_metric "miscdisc_volume_answered{drive=\"#1\",path=\"$PWD/a\"} 1"
  expect_metric "miscdisc_volume_answered{drive=\"#2\",path=\"$PWD/b\"} 0"
  expect_none '^miscdisc_drive_(free|size|rec).*drive="#' figures.prom
  expect_metric 'miscdisc_report_complete 0'
  # Nor does a file there keep anybody waiting.
  ask_hanging --timeout 0.3 report --html b/page.html
  expect_code 1
  expect_words "$PWD/b/page.html was not written: its mount does not answer."
}

@test "a lobby that is away is said, and who is in it is not known" {
  share
  mv net away
  ask report --html page.html --prometheus figures.prom
  expect_code 3
  check_page page.html
  expect_page "<p>Not known: <bdi>$PWD/net/Alpha/</bdi> could not be seen.</p>"
  expect_metric "miscdisc_space_answered{lobby=\"Alpha\",path=\"$PWD/net/Alpha/\"} 0"
  expect_none 'miscdisc_(lobby_people|locks)' figures.prom
}

@test "standard output takes one of them" {
  three_volumes
  ask report --prometheus -
  expect_code 0
  check_metrics data
  ask report --html - --prometheus figures.prom
  expect_code 0
  check_page data
  check_metrics figures.prom
  for arguments in "--html - --prometheus -" "--html - --json"; do
    ask report $arguments
    expect_code 2
    expect_words "standard output takes one document: "
  done
  ask report
  expect_code 2
  expect_words "give --html FILE, --prometheus FILE or both"
  ask report --html ""
  expect_code 2
  expect_words "FILE is empty"
  ask report --html same --prometheus ./same
  expect_code 2
  expect_words "--html and --prometheus need a FILE each"
  ask report --prometheus same --refresh 3
  expect_code 2
  [ ! -e same ]
}

@test "readers never see half a report, and nothing is left beside it" {
  three_volumes
  mkdir www
  ask report --html www/page.html
  expect_code 0
  (while [ ! -e enough ]; do miscdisc -q report --html www/page.html --prometheus www/f.prom; done) 3>&- &
  local writer=$! times first seen
  first=$(stat -c %i www/page.html)
  for times in $(seq 300); do
    cat www/page.html >seen.html # cp refuses what is replaced between its two looks
    [ "$(head -n 1 seen.html)" = '<!DOCTYPE html>' ]
    [ "$(tail -n 1 seen.html)" = '</html>' ]
  done
  replaced() { [ "$(stat -c %i www/page.html)" != "$first" ]; }
  eventually replaced
  : >enough
  wait $writer
  [ "$(ls -A www)" = $'f.prom\npage.html' ]
}

@test "a report that cannot be written is said, and the old one stays" {
  three_volumes
  mkdir www
  printf old >www/page.html
  chmod 555 www
  ask_unprivileged report --html www/page.html --prometheus -
  expect_code 1
  expect_words "$PWD/www/page.html could not be written: nothing can be written in "
  check_metrics data # the other is made all the same
  [ "$(cat www/page.html)" = old ]
  chmod 755 www
  mkfifo pipe
  ask report --html pipe
  expect_code 1
  expect_words "$PWD/pipe could not be written: it is no plain file."
  [ -p pipe ]
  ask report --html www
  expect_code 1
  expect_words "$PWD/www could not be written: it is a folder."
  ask report --html none/page.html
  expect_code 1
  expect_words "$PWD/none/page.html could not be written: nothing can be written in "
  # Nor with a configuration that says something else than was meant.
  printf 'volumes = 1\n' >"$MISCDISC_HOME/config.toml"
  ask report --html www/page.html
  expect_code 2
  [ "$(cat www/page.html)" = old ]
}

@test "--dry-run writes nothing, and --json says what was written" {
  three_volumes
  ask report --html page.html --dry-run
  expect_code 0
  expect_words "would write $PWD/page.html"
  [ ! -e page.html ]
  [ ! -s data ]
  ask report --html page.html --json
  expect_code 0
  [ "$(jq -c '[.schema, .dry_run, [.changes[] | [.action, .path]]]' data)" = "[\"miscdisc.change/1\",false,[[\"write\",\"$PWD/page.html\"]]]" ]
  check_page page.html
}

@test "it only looks: nothing changes on the share" {
  share
  : >net/Alpha/cat.cli
  share_snapshot >before
  ask report --html page.html --prometheus figures.prom
  expect_code 0
  share_snapshot | diff before -
}
