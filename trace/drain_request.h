#pragma once

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

  // Returns after a drain that began after the call, at the end of the reader's stream, or after
  // the timeout. Without a descriptor it returns at once.
  void await(std::chrono::milliseconds timeout);

  // The rest is for the reader.

  // Readable while there is a request, see eventfd(2). -1 if the kernel gave no descriptor.
  int fd() const { return fd_; }

  // Whether there is a request. Takes it.
  bool take();

  // Puts back the request that was taken, for the next reader.
  void renew();

  // Ends the wait. At the end of its stream the reader answers without a request.
  void answer() { answers_.release(); }

 private:
  int fd_;
  std::counting_semaphore<> answers_{0};
};

}  // namespace tarnwick
