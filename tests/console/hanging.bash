# A mount that does not answer.

# A folder becomes a mount that answers, with these empty files in it.
mount_on() { # FOLDER [FILE...]
  "$HANGING_MOUNT" "$PWD/$1" "${@:2}" >mounted 2>&1 3>&- &
  server=$!
  until grep -q ready mounted; do
    if ! kill -0 $server 2>/dev/null; then
      code=0
      wait $server || code=$?
      server=
      [ "$code" -eq 77 ] && skip "no FUSE, or no right to mount"
      return 1
    fi
    sleep 0.05
  done
}

# A folder stops answering once it was there.
hang_on() { # FOLDER
  mount_on "$1"
  kill -USR1 $server
}

# Whoever waits for the mount waits for ever; so does a search for leaks, which stops every thread.
# What is there has a second to answer; where that does not count, "--timeout 0.3" is enough.
ask_hanging() {
  code=0
  ASAN_OPTIONS=detect_leaks=0 timeout -s KILL 100 "$MISCDISC_COMMAND" --timeout 1 "$@" >data 2>words || code=$?
}

end_hanging() {
  [ -n "${server:-}" ] || return 0
  kill -USR2 $server
  kill $server
  wait $server || true
}
