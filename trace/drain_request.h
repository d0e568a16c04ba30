#pragma once

#include <chrono>
#include <semaphore>

namespace tarnwick {

// Asks a reader that rests between its drains to take at once what can be read, and waits until it
// has. One thread asks, once; another answers.
class DrainRequest {
 public:
  DrainRequest();
  ~DrainRequest();
  DrainRequest(const DrainRequest&) = delete;
  DrainRequest& operator=(const DrainRequest&) = delete;

  // Returns after a drain that began after the call, or when the reader has met the end of its
  // stream, or after `patience`.
  void await(std::chrono::milliseconds patience);

  // The reader's side: a descriptor that can be read when there is a request (see eventfd(2)), ...
  int fd() const { return fd_; }

  // ... whether there is one, which then no longer stands, ...
  bool take();

  // ... a way to leave the one that was taken for another reader, ...
  void renew();

  // ... and the answer. At the end of its stream the reader gives it unasked.
  void answer() { answers_.release(); }

 private:
  int fd_;
  std::counting_semaphore<> answers_{0};
};

}  // namespace tarnwick
