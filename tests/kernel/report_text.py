"""The lines of a report."""

import re

SEPARATOR = "-" * 113 + "\n"
PROCESS = re.compile(r"^(\d+) +(.*?) *: total=(-?\d+) +utime=(-?\d+) +stime=(-?\d+) +min_flt=(-?\d+) +"
                     r"maj_flt=(-?\d+) *(?:rt=(\d+) +wt=(\d+) +switches=(\d+) *)?$", re.M)
CPU = re.compile(r"^cpu (\d) *: user=(-?\d+) +kernel=(-?\d+) +idle=(-?\d+) +iowait=(-?\d+) +total=(-?\d+) +"
                 r"perc=(-?\d+) +crefs=(\d+) +hit=([0-9.]+) +br=(\d+) +hit=([0-9.]+) *\n"
                 r"((?:    freq: \d+ +\d+\n)*)", re.M)
ALL_CPUS = re.compile(r"^cpu  : user=(-?\d+) +kernel=(-?\d+) +idle=(-?\d+) +iowait=(-?\d+) +total=(-?\d+) ",
                      re.M)
INTERVAL = re.compile(r"^uptime=(\d+), realtime=\d+,", re.M)
LAST_LINE = re.compile(r"^uptime=\d+, realtime=\d+, proctimebefore=\d+, proctimeafter=\d+\n", re.M)
