#include "progress.h"

#include <signal.h>
#include <unistd.h>

#include <iostream>

#include "console.h"

namespace {

constexpr char eraseLine[] = "\r\033[K";
constexpr int endingSignals[] = {SIGHUP, SIGINT, SIGTERM};

// Erases the line, then lets the signal end the program.
void eraseAndEnd(int number) {
  const ssize_t ignored = write(STDERR_FILENO, eraseLine, sizeof eraseLine - 1);
  static_cast<void>(ignored);
  signal(number, SIG_DFL);
  raise(number);
}

void changeHandlers(void (*from)(int), void (*to)(int)) {
  for (const int number : endingSignals) {
    struct sigaction action = {};
    sigaction(number, nullptr, &action);
    if (action.sa_handler == from) signal(number, to);
  }
}

}  // namespace

Progress::Progress(std::chrono::milliseconds delay, const std::function<std::string()>& text) {
  if (!isCapableTerminal(STDERR_FILENO)) return;
  changeHandlers(SIG_DFL, eraseAndEnd);
  thread_ = std::thread([delay, text, end = end_.get_future()] {
    auto wait = delay;
    for (; end.wait_for(wait) != std::future_status::ready; wait = std::chrono::milliseconds(500)) {
      // Without wrapping, the terminal cuts off what is too long.
      std::cerr << "\r\033[?7l" + printable(text()) + "\033[?7h\033[K" << std::flush;
    }
    if (wait != delay) std::cerr << eraseLine << std::flush;
  });
}

Progress::~Progress() {
  if (!thread_.joinable()) return;
  end_.set_value();
  thread_.join();
  changeHandlers(eraseAndEnd, SIG_DFL);
}

Progress showWaiting(const std::string& command) {
  const auto start = std::chrono::steady_clock::now();
  return Progress(std::chrono::seconds(2), [command, start] {
    const auto passed = std::chrono::steady_clock::now() - start;
    const auto seconds = std::chrono::duration_cast<std::chrono::seconds>(passed).count();
    return "still running: cvs " + command + ", " + std::to_string(seconds) + " s";
  });
}
