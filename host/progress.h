#pragma once

#include <chrono>
#include <functional>
#include <future>
#include <string>
#include <thread>

// Shows the progress of long work on one line of the standard error, if that is a capable terminal.
// The line appears after `delay` and changes twice a second. It goes when the object is destroyed
// or a signal ends the program. One object at a time.
class Progress {
 public:
  // `text` is called on a thread of its own; it may not throw.
  Progress(std::chrono::milliseconds delay, const std::function<std::string()>& text);
  ~Progress();
  Progress(const Progress&) = delete;
  Progress& operator=(const Progress&) = delete;

 private:
  std::promise<void> end_;
  std::thread thread_;  // none when nothing is shown
};

// Shows a client command that runs longer than two seconds: it may be waiting for a lock.
Progress showWaiting(const std::string& command);

// Runs an operation that waits for such a command, and returns its result.
template <typename Operation>
auto waitFor(const std::string& command, const Operation& operation) {
  const Progress waiting = showWaiting(command);
  return operation();
}
