# A terminal of 120 columns, and what else tests need that look at a page or type; to be loaded after
# setup.
load machines
load hanging
load bus

setup_file() { export BATS_TEST_TIMEOUT=120; }

teardown() {
  end_started
  end_terminal
  end_hanging
  end_bus
}

terminal() { tmux -u -S "$PWD/tmux" -f /dev/null "$@"; }

on_terminal() { # COMMAND [ARGUMENT...]
  HOME=$PWD terminal new-session -d -x 120 -y 30 "$@" 3>&-
}

end_terminal() { [ ! -e tmux ] || terminal kill-server || true; }

gone_terminal() { ! terminal has-session 2>/dev/null; }

type_keys() { terminal send-keys "$@"; }

screen() { terminal capture-pane -p; }

shows() { screen | grep -qE -- "$1"; }

expect_screen() { # PATTERN: within a minute
  eventually shows "$1" || { screen; return 1; }
}
