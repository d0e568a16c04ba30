#include "collector/messages.h"

#include <pthread.h>
#include <semaphore.h>
#include <sys/prctl.h>

#include <atomic>
#include <cstdio>
#include <string>

#include "collector/stdout_section.h"
#include "trace/lock.h"

namespace tarnwick {

namespace {

// Taken first, and held while messages are printed: they come out in their order.
pthread_mutex_t gPrintMutex = PTHREAD_MUTEX_INITIALIZER;

pthread_mutex_t gQueueMutex = PTHREAD_MUTEX_INITIALIZER;
// Never destroyed: a worker may post while the process ends.
std::string& gQueue = *new std::string;  // NOLINT(cert-err58-cpp)

// From the post to the end of the printing, so that the main thread waits for a message that is
// being printed.
std::atomic<bool> gUnprinted = false;

// Of the printing thread, while it runs.
bool gThreadRuns = false;
pthread_t gThread;
sem_t gPosted;
std::atomic<bool> gEnding = false;

void* messages(void* /*unused*/) {
  prctl(PR_SET_NAME, "messages");
  while (!gEnding) {
    printMessages();
    while (sem_wait(&gPosted) != 0) {
    }
  }
  return nullptr;
}

}  // namespace

void postMessage(std::string_view line) {
  {
    const Lock lock(gQueueMutex);
    gQueue.append(line);
    gQueue += '\n';
    gUnprinted = true;
  }
  sem_post(&gPosted);
}

void printMessages() {
  if (!gUnprinted) {
    return;
  }
  const Lock printing(gPrintMutex);
  std::string lines;
  {
    const Lock lock(gQueueMutex);
    lines.swap(gQueue);
  }
  fwrite(lines.data(), 1, lines.size(), stdout);
  const Lock lock(gQueueMutex);
  gUnprinted = !gQueue.empty();
}

void startMessageThread() {
  sem_init(&gPosted, 0, 0);
  gEnding = false;
  gThreadRuns = pthread_create(&gThread, nullptr, messages, nullptr) == 0;
}

void stopMessageThread() {
  {
    const StdoutSection section;
    printMessages();
  }
  if (gThreadRuns) {
    gEnding = true;
    sem_post(&gPosted);
    pthread_join(gThread, nullptr);
    gThreadRuns = false;
  }
}

}  // namespace tarnwick
