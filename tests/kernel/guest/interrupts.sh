# SIGINT in each state.
. /lib.sh
log_tool

start idle --stdout --sig
waiting
interrupt idle
start sampling --stdout --sig
toggle
interrupt sampling
start looping --stdout --interval=60
waiting
interrupt looping
start entering --stdout --enter
waiting
interrupt entering
for option in systrace block-dump; do
  start "$option" --stdout --sig "--$option"
  toggle
  interrupt "$option"
  start "$option-enter" --stdout --enter "--$option"
  waiting
  interrupt "$option-enter"
  start "$option-between" --stdout --sig "--$option"
  toggle
  toggle
  interrupt "$option-between"
done

ps -o comm >/out/processes
