#include "progress.h"

#include <signal.h>
#include <sys/ioctl.h>
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

// As much as fits on one line: overwriting a longer text would leave parts of it behind.
std::string fitted(std::string text) {
  winsize size = {};
  const bool known = ioctl(STDERR_FILENO, TIOCGWINSZ, &size) == 0 && size.ws_col > 0;
  const std::size_t columns = known ? size.ws_col : 80u;
  if (text.size() < columns) return text;
  std::size_t length = columns - 1;
  while (length > 0 && (text[length] & 0xc0) == 0x80) --length;  // not inside a UTF-8 sequence
  text.resize(length);
  return text;
}

}  // namespace

Progress::Progress(std::chrono::milliseconds delay, std::function<std::string()> text)
    : text_(std::move(text)) {
  if (!isCapableTerminal(STDERR_FILENO)) return;
  changeHandlers(SIG_DFL, eraseAndEnd);
  thread_ = std::thread([this, delay] { show(delay); });
}

Progress::~Progress() {
  if (!thread_.joinable()) return;
  {
    const std::lock_guard<std::mutex> lock(mutex_);
    hasEnded_ = true;
  }
  ended_.notify_one();
  thread_.join();
  changeHandlers(eraseAndEnd, SIG_DFL);
}

void Progress::show(std::chrono::milliseconds delay) {
  constexpr auto interval = std::chrono::milliseconds(500);
  std::unique_lock<std::mutex> lock(mutex_);
  const auto isOver = [this] { return hasEnded_; };
  if (ended_.wait_for(lock, delay, isOver)) return;
  do {
    std::cerr << '\r' + fitted(printable(text_())) + "\033[K" << std::flush;
  } while (!ended_.wait_for(lock, interval, isOver));
  std::cerr << eraseLine << std::flush;
}

Progress showWaiting(const std::string& command) {
  const auto start = std::chrono::steady_clock::now();
  return Progress(std::chrono::seconds(2), [command, start] {
    const auto passed = std::chrono::steady_clock::now() - start;
    const auto seconds = std::chrono::duration_cast<std::chrono::seconds>(passed).count();
    return "still running: cvs " + command + ", " + std::to_string(seconds) + " s";
  });
}
