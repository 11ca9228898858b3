# Three machines whose caches follow each other.  The folder that they share has another id and
# another mount point on each.
load setup
load machines
load lobby
load bus

setup_file() { export BATS_TEST_TIMEOUT=120; }

teardown() {
  stop_machines
  end_bus
}

three_machines() {
  start_bus
  mkdir -p media/Material media/Sound net/Alpha
  touch net/Alpha/DefNetDrive.txt media/Material/old.mxf media/Sound/old.wav
  local machine
  for machine in ann:E bob:G cleo:K; do
    local user=${machine%:*}
    mkdir -p "machines/$user"
    ln -s ../media "machines/$user.drive"
    ln -s ../net "machines/$user.net"
    start_following "$user" "${machine#*:}"
  done
  for user in ann bob cleo; do
    tell "$user" connect
    tell "$user" fill
    tell "$user" count 2
  done
}

start_following() { # USER LETTER
  local home="machines/$1" in out
  cat >"$home/config.toml" <<END
[machine]
user = "$1"
[volumes]
discover = false
$2 = "$PWD/machines/$1.drive"
[shares]
'//nas/media' = "$PWD/machines/$1.drive"
'//nas/projects' = "$PWD/machines/$1.net"
END
  printf '[Configuration]\n"network project root" = "%s"\n' "$PWD/machines/$1.net" >"$home/state.toml"
  mkfifo "$home/in" "$home/out"
  MISCDISC_HOME="$PWD/$home" "$FOLLOWING" Alpha <"$home/in" >"$home/out" 2>"$home/words" 3>&- &
  machine_pid[$1]=$!
  exec {in}>"$home/in" {out}<"$home/out"
  machine_in[$1]=$in
  machine_out[$1]=$out
  answer "$1" READY
}

@test "a file that one machine adds the others find without reading a folder" {
  three_machines
  printf 'media' >media/Material/new.mxf
  tell ann "add E:/Material/new.mxf"
  tell bob next "added G:/Material/new.mxf"
  tell cleo next "added K:/Material/new.mxf"
  for user in ann bob cleo; do
    tell "$user" "has new.mxf"
    tell "$user" count 3
    tell "$user" folders-read 0
  done
}

@test "a file that one machine removes the others take out without reading a folder" {
  three_machines
  tell bob "remove G:/Sound/old.wav"
  tell ann next "removed E:/Sound/old.wav"
  tell cleo next "removed K:/Sound/old.wav"
  rm media/Sound/old.wav
  for user in ann bob cleo; do
    tell "$user" "has old.wav" no
    tell "$user" count 1
    tell "$user" folders-read 0
  done
}

@test "a file that is gone already costs the volume a reading, and is not found any more" {
  three_machines
  rm media/Material/old.mxf
  tell cleo "remove K:/Material/old.mxf" no
  tell ann next "removed E:/Material/old.mxf"
  tell ann count 0
  tell ann folders-read 0
  tell ann "has old.mxf" no
  tell ann "has old.wav" yes
}

# Sent by another program of ann's.
tell_others() { MISCDISC_HOME="$PWD/machines/ann" miscdisc --timeout 60 -q notify send "$@" >told; }

@test "a text puts into a listing what reading the folder would" {
  three_machines
  mkdir media/Material/folder
  printf 'media' | tee media/Material/.hidden.mxf >media/Material/new.mxf
  ln -s ../Sound/old.wav media/Material/link.mxf
  ln -s nowhere media/Material/broken.mxf
  local name when
  for name in new.mxf .hidden.mxf folder link.mxf broken.mxf; do
    tell_others --added "machines/ann.drive/Material/$name"
    tell bob next "added G:/Material/$name"
  done
  for when in told read; do
    tell bob "has new.mxf" yes
    tell bob "has .hidden.mxf" no
    tell bob "has folder" no
    tell bob "has link.mxf" yes
    tell bob "has broken.mxf" no
    tell bob count 4
    tell_others --rescan
    tell bob next rescan
  done
}
