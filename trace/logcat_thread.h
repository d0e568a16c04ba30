#pragma once

namespace tarnwick {

class StatsCollector;

// Starts the thread that runs the platform's logcat during a measurement and makes a trace record
// of each KPI line. When the thread cannot be created, or the tool's pipe, the process ends with a
// message and status 1.
void startLogcatThread(StatsCollector& collector);

// Stops the thread, which ends the tool, and returns when it has ended. The pipe thread must still
// run: it knows the tool's process id.
void stopLogcatThread(StatsCollector& collector);

// The thread.
void* logcat_thread(void* unused);

}  // namespace tarnwick
