# fish completion for tarnwick(8)

# What --proc compares: the file name in the first argument of each process.
function __tarnwick_processes
    # Not by the shell's own redirection, which complains of processes that have ended.
    string replace --regex '.*/' '' -- (head -qzn1 /proc/*/cmdline 2>/dev/null | string split0)
end

complete -c tarnwick --no-files
complete -c tarnwick -l interval -x -d 'seconds from snapshot to snapshot in the loop'
complete -c tarnwick -l iter -x -d 'number of measurements'
complete -c tarnwick -l stdout -d 'report to standard output'
complete -c tarnwick -l sig -d 'measure from SIGUSR1 to SIGUSR1'
complete -c tarnwick -l block-dump -d 'report the page cache by file'
complete -c tarnwick -l systrace -d 'trace how long threads run and wait'
complete -c tarnwick -l no-proc-cpu -d 'leave out processes'
complete -c tarnwick -l min-cpu -x -d 'milliseconds: leave out what used no more CPU time'
complete -c tarnwick -l freq -d 'report the frequencies of the CPUs'
complete -c tarnwick -l pmu -d 'report the hardware counters of the CPUs'
complete -c tarnwick -l proc -x -a '(__tarnwick_processes)' -d 'report the threads of a process'
complete -c tarnwick -l enter -d 'measure until the Enter key'
complete -c tarnwick -l help -d 'print the usage'
