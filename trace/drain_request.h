#pragma once

#include <atomic>
#include <chrono>
#include <semaphore>

namespace tarnwick {

// Makes a reader that rests between its drains take at once what can be read. One thread requests
// that, once, and waits; the reader's thread answers.
class DrainRequest {
 public:
  DrainRequest();
  ~DrainRequest();
  DrainRequest(const DrainRequest&) = delete;
  DrainRequest& operator=(const DrainRequest&) = delete;

  // Whether a drain that began after the call has taken everything, or the reader's stream has
  // ended. False after the timeout, and at once without a descriptor.
  bool await(std::chrono::milliseconds timeout);

  // The rest is for the reader.

  // Readable while there is a request, see eventfd(2). -1 if the kernel gave no descriptor.
  int fd() const { return fd_; }

  // Whether there is a request. Takes it.
  bool take();

  // Puts back the request that was taken, for the next reader.
  void renew();

  // Ends the wait. At the end of its stream the reader answers without a request.
  void answer(bool tookAll = true) {
    tookAll_ = tookAll;
    answers_.release();
  }

 private:
  int fd_;
  std::atomic<bool> tookAll_ = false;  // what the last answer says
  std::counting_semaphore<> answers_{0};
};

}  // namespace tarnwick
