# A terminal of 100 columns, for tests that load "setup" and "machines" too.

terminal() { tmux -u -S "$PWD/tmux" -f /dev/null "$@"; }

on_terminal() { # COMMAND [ARGUMENT...]
  HOME=$PWD terminal new-session -d -x 100 -y 30 "$@" 3>&-
}

end_terminal() { [ ! -e tmux ] || terminal kill-server || true; }

gone_terminal() { ! terminal has-session 2>/dev/null; }

type_keys() { terminal send-keys "$@"; }

screen() { terminal capture-pane -p; }
