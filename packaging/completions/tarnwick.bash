# bash completion for tarnwick(8)

# Offers what --proc compares: the file name in the first argument of each process. A name is anyone's
# choice: it is quoted, and never expanded.
_tarnwick_processes()
{
    local file name
    for file in /proc/[0-9]*/cmdline; do
        IFS= read -r -d '' name <"$file"
        printf -v name %q "${name##*/}"
        [[ $name == "$cur"* && $name != "''" ]] && COMPREPLY+=("$name")
    done 2>/dev/null
}

_tarnwick()
{
    local cur prev words cword split
    _init_completion -s || return

    # Behind the = of an option.
    if $split; then
        [[ $prev != --proc ]] || _tarnwick_processes
        return
    fi

    mapfile -t COMPREPLY < <(compgen -W '--interval= --iter= --stdout --sig --block-dump --systrace
        --no-proc-cpu --min-cpu= --freq --pmu --proc= --enter --help' -- "$cur")
    [[ ${COMPREPLY-} != *= ]] || compopt -o nospace
} &&
    complete -F _tarnwick tarnwick
