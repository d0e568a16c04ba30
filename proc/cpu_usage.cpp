#include "proc/cpu_usage.h"

#include "sysstat/counter_math.h"

namespace tarnwick {

namespace {

int64_t busyMs(const CpuUsage& usage) {
  return add(add(usage.user, usage.kernel), usage.iowait);
}

}  // namespace

bool CpuUsage::worked() const {
  return busyMs(*this) >= 1;
}

CpuUsage cpuUsage(const CpuTimes& before, const CpuTimes& after, int64_t intervalMs) {
  const int64_t userTicks =
      add(difference(after.user, before.user), difference(after.nice, before.nice));
  const int64_t kernelTicks =
      add(add(difference(after.system, before.system), difference(after.irq, before.irq)),
          difference(after.softirq, before.softirq));
  const int64_t idleTicks = difference(after.idle, before.idle);
  const int64_t iowaitTicks = difference(after.iowait, before.iowait);

  CpuUsage usage;
  usage.user = ticksToMs(userTicks);
  usage.kernel = ticksToMs(kernelTicks);
  usage.iowait = iowaitTicks < 0 ? 0 : ticksToMs(iowaitTicks);
  usage.idle = ticksToMs(idleTicks);
  const bool idleImplausible = idleTicks < 0 || usage.idle > intervalMs;
  if (idleImplausible) {
    usage.idle = difference(intervalMs, busyMs(usage));
  }
  usage.total = idleImplausible || iowaitTicks < 0 ? intervalMs : add(busyMs(usage), usage.idle);
  usage.perc = percent(add(usage.user, usage.kernel), usage.total);
  return usage;
}

void formatCpuUsage(int32_t cpu, const CpuUsage& usage, ReportSink& sink) {
  sink.output("cpu%2d: user=%-5ld kernel=%-5ld idle=%-5ld iowait=%-5ld total=%-6ld perc=%-3d", cpu,
              usage.user, usage.kernel, usage.idle, usage.iowait, usage.total, usage.perc);
}

void formatAggregateUsage(const CpuUsage& usage, ReportSink& sink) {
  sink.output("cpu  : user=%-5ld kernel=%-5ld idle=%-5ld iowait=%-5ld total=%-6ld perc=%-3d",
              usage.user, usage.kernel, usage.idle, usage.iowait, usage.total, usage.perc);
}

}  // namespace tarnwick
