# CPUs that go off and on all the time, between the measurements and in them.
. /lib.sh
log_tool

online() {
  echo "$2" >"/sys/devices/system/cpu/cpu$1/online"
  echo >>/out/changes
}

# One at a time, and then all that can.
(
  while [ ! -e /tmp/enough ]; do
    for cpu in 1 2 3; do
      online $cpu 0
      online $cpu 1
    done
    for cpu in 1 2 3; do
      online $cpu 0
    done
    for cpu in 2 3 1; do
      online $cpu 1
    done
  done
) &
storm=$!
# Work that is moved on when its CPU goes.
while :; do :; done &
work=$!

start often --stdout --iter=40 --interval=0 --freq --pmu
finish often
start seldom --stdout --iter=2 --interval=1 --freq --pmu --no-proc-cpu
finish seldom

descriptors() {
  set -- "/proc/$PID/fd/"*
  echo $#
}
start traced --stdout --sig --systrace --freq --pmu --no-proc-cpu
toggle
toggle
descriptors >/out/descriptors
for _ in $(seq 7); do
  toggle
  toggle
done
descriptors >>/out/descriptors
interrupt traced
cp /data/trace.txt /out/trace.txt
controls "$TRACING" >/out/controls

kill "$work"
touch /tmp/enough
wait "$storm"
cat /sys/devices/system/cpu/online >/out/online
