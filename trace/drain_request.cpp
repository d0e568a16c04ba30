#include "trace/drain_request.h"

#include <sys/eventfd.h>
#include <unistd.h>

namespace tarnwick {

DrainRequest::DrainRequest() : fd_(eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK)) {}

DrainRequest::~DrainRequest() {
  if (fd_ >= 0) {
    close(fd_);
  }
}

bool DrainRequest::await(std::chrono::milliseconds timeout) {
  return eventfd_write(fd_, 1) == 0 && answers_.try_acquire_for(timeout) && tookAll_;
}

// NOLINTNEXTLINE(readability-make-member-function-const): it changes what fd() stands for
bool DrainRequest::take() {
  eventfd_t requests = 0;
  return eventfd_read(fd_, &requests) == 0;
}

// NOLINTNEXTLINE(readability-make-member-function-const): it changes what fd() stands for
void DrainRequest::renew() {
  eventfd_write(fd_, 1);
}

}  // namespace tarnwick
