# What the scripts of the guests share. Every wait has a deadline; nothing sleeps and hopes.

PROGRAM=/opt/tarnwick/tarnwick
# Seconds of a guest on a quiet machine. See wait_for.
DEADLINE_S=60
DEBUGFS=/sys/kernel/debug
TRACING=$DEBUGFS/tracing

# uptime_in VARIABLE: seconds with two digits behind the point. Without a process of its own.
uptime_in() {
  read -r "$1" _ </proc/uptime
}

# hundredths_in VARIABLE: the uptime in hundredths of a second.
hundredths_in() {
  local uptime=
  uptime_in uptime
  eval "$1=\${uptime%.*}\${uptime#*.}"
}

# work_in VARIABLE: how many hundredths of a second a piece of work takes now, at least WORK, which is
# what it takes in a guest on a quiet machine.
WORK=60
work_in() {
  local begin= end= i=0
  hundredths_in begin
  while [ $i -lt 20000 ]; do
    i=$((i + 1))
  done
  hundredths_in end
  eval "$1=$((end - begin > WORK ? end - begin : WORK))"
}

# wait_for WHAT COMMAND...: polls until the command succeeds. After every five seconds it measures how much
# slower than on a quiet machine the guest is, and counts them for as much less.
wait_for() {
  local what=$1 left=$((DEADLINE_S * 100)) measured= now= work=
  shift
  hundredths_in measured
  until "$@"; do
    hundredths_in now
    if [ $((now - measured)) -ge 500 ]; then
      work_in work
      left=$((left - (now - measured) * WORK / work))
      hundredths_in measured
    fi
    if [ $left -le 0 ]; then
      echo "not in $DEADLINE_S s of a quiet machine: $what" >&2
      ps -o pid,ppid,stat,comm,args >&2
      exit 9
    fi
    usleep 5000
  done
}

# start NAME OPTION...: the program, with its output in /out/NAME and /out/NAME.err and its process id
# in PID. Descriptor 7 is its standard input.
start() {
  local name=$1
  shift
  rm -f "/tmp/$name.in"
  mkfifo "/tmp/$name.in"
  "$PROGRAM" "$@" <"/tmp/$name.in" >"/out/$name" 2>"/out/$name.err" &
  PID=$!
  exec 7>"/tmp/$name.in"
}

# waiting: until the program's main thread sleeps in its wait.
waiting() {
  wait_for "the program waits" load waiting "$PID"
}

# toggle: SIGUSR1, and the wait that follows it.
toggle() {
  waiting
  kill -USR1 "$PID"
  waiting
}

enter() {
  waiting
  echo >&7
}

has_gone() {
  [ ! -d "/proc/$1" ] || grep -q '^State:.Z' "/proc/$1/status" 2>/dev/null
}

# finish NAME: waits for the end of the program, and leaves its status in /out/NAME.status.
finish() {
  local status=0
  wait_for "the program ends" has_gone "$PID"
  wait "$PID" || status=$?
  echo "$status" >"/out/$1.status"
  exec 7>&-
}

interrupt() {
  kill -INT "$PID"
  finish "$1"
}

# mount_disks: the three of them on /mnt/DISK.
mount_disks() {
  local disk
  for disk in vda:vda1 sda:sda1 mmcblk0:mmcblk0p1; do
    wait_for "the disk $disk" [ -b "/dev/${disk#*:}" ]
    mkdir -p "/mnt/${disk%:*}"
    mount -t ext4 "/dev/${disk#*:}" "/mnt/${disk%:*}"
  done
}

# The tracing files that the program writes.
CONTROLS="tracing_on options/overwrite trace_clock buffer_size_kb
  events/sched/sched_stat_wait/enable events/sched/sched_stat_iowait/enable
  events/sched/sched_stat_runtime/enable events/filemap/mm_filemap_add_to_page_cache/enable
  events/filemap/mm_filemap_delete_from_page_cache/enable"

# controls FOLDER: their names and contents.
controls() {
  local control
  for control in $CONTROLS; do
    echo "$control=$(cat "$1/$control")"
  done
}

# processes: the id and the name of each program that runs. The shell looks itself, so that what looks is
# not among them.
processes() {
  local folder= name=
  for folder in /proc/[0-9]*; do
    # A thread of the kernel has no file.
    if [ -e "$folder/exe" ] && read -r name 2>/dev/null <"$folder/comm"; then
      echo "${folder#/proc/} $name"
    fi
  done
}

# processes_settle BEFORE AFTER: waits until the processes are those of BEFORE, and notes them in AFTER. A
# process that was told to end does so in its own time.
processes_settle() {
  wait_for "the processes are those of $1" same_processes "$1" "$2"
}

same_processes() {
  processes >"$2"
  cmp -s "$1" "$2"
}

# log_tool: a stand-in for the platform's tool, which says what comes from /tmp/log.
log_tool() {
  cat >/bin/logcat <<'LOGCAT'
#!/bin/busybox sh
echo "$*" >>/out/logcat.arguments
[ "$1" != -c ] || exit 0
while read -r line; do
  echo "$line"
done </tmp/log
LOGCAT
  chmod +x /bin/logcat
  mkfifo /tmp/log
  exec 6<>/tmp/log
}
