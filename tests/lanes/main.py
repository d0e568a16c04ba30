"""./test.sh, once Python is there: see its usage."""

import os
import pwd
import subprocess
import sys

import runner
import screen
import steps

LANES = {"quick": steps.quick_steps, "all": steps.all_steps, "coverage": steps.coverage_steps}


def parse(arguments):
    """The lane, the labels that are wanted of it (none: all of them), and whether to resume. Exits for odd words."""
    resume = "--resume" in arguments
    words = [word for word in arguments if word != "--resume"]
    if not words:
        return "quick", [], resume
    if words[0] in ("all", "coverage") and len(words) == 1:
        return words[0], [], resume
    return "all", words, resume


def sudo_works():
    """Whether a step can use sudo: it has no terminal on which sudo could ask for a password."""
    try:
        ran = subprocess.run(("sudo", "-n", "true"), stderr=subprocess.DEVNULL, start_new_session=True)
    except OSError:
        return False
    return ran.returncode == 0


def obstacle(lane):
    """What would make steps fail for a reason of this user, in one line; "" if nothing would."""
    build = os.path.join(steps.ROOT, "build")
    place = build if os.path.exists(build) else steps.ROOT
    if not os.access(place, os.W_OK):
        owner = pwd.getpwuid(os.stat(place).st_uid).pw_name
        return f"no permission to write {place}; run as {owner}, or in a copy of the tree"
    if os.geteuid() != 0 and (lane == "all" or steps.as_root()) and not sudo_works():
        return "steps of this lane need root, and sudo does not work without a password; run as root"
    return ""


def summary(show, run, passed, words):
    """How long each step took, why tests were skipped, and how many passed. Never says that 0 failed unless all passed."""
    show.line()
    for step in run.steps:
        if step.name in run.done:
            show.line(f"{run.memory.passed[step.name]['seconds']:6} s  {step.name}")
    for reason, count in sorted(run.reasons.items()):
        show.line(f"skipped ({count}): {reason}")
    failed = run.counts.failed
    if run.failed:
        show.line("FAILED: " + ", ".join(step.name for step in run.failed))
    if not passed:
        show.line(f"./test.sh --resume{words} continues there")
        failed = failed or 1
    skipped = f", {run.counts.skipped} skipped" if run.counts.skipped else ""
    show.line(f"{run.counts.passed} passed, {failed} failed{skipped}")


def main():
    lane, labels, resume = parse(sys.argv[1:])
    table = LANES[lane]()
    try:
        wanted = steps.select(table, labels) if labels else table
    except KeyError as label:
        known = " ".join(dict.fromkeys(step.label for step in table))
        sys.exit(f"test.sh: there is no part {label}; the parts are {known}")
    if why := obstacle(lane):
        sys.exit(f"test.sh: {why}")
    # Logs can have characters that the locale lacks.
    sys.stdout.reconfigure(errors="replace")
    show = screen.Screen(sys.stdout)
    logs = os.path.join(steps.ROOT, "build", "test")
    name = "-".join([lane, *labels])
    memory = runner.Memory(os.path.join(logs, f"{name}.json"), resume)
    if all(step.name in memory.passed for step in wanted):
        sys.exit("test.sh: nothing to resume: all steps have passed; run it without --resume")
    run = runner.Runner(wanted, steps.ROOT, logs, show, memory)
    for step in wanted:
        if step.name in run.done:
            show.line(f"{step.name}: passed before")
    runner.interrupt_on_signals()
    try:
        passed = run.run()
    except KeyboardInterrupt:
        show.line("interrupted")
        passed = False
    summary(show, run, passed, "".join(f" {word}" for word in sys.argv[1:] if word != "--resume"))
    sys.exit(0 if passed else 1)


if __name__ == "__main__":
    main()
