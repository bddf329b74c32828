#include "input.h"

#include <fcntl.h>
#include <poll.h>
#include <signal.h>
#include <sys/signalfd.h>
#include <termios.h>
#include <unistd.h>

#include <cerrno>
#include <cstdlib>

namespace {

// Hides what is typed on a terminal while it lives. The signals that end or stop the program wait
// until the terminal shows what is typed again: otherwise it would stay hidden after them.
class HiddenTyping {
 public:
  explicit HiddenTyping(int terminal) : terminal_(terminal) {
    sigset_t signals;
    sigemptyset(&signals);
    for (const int number : {SIGHUP, SIGINT, SIGQUIT, SIGTERM, SIGTSTP}) {
      sigaddset(&signals, number);
    }
    sigprocmask(SIG_BLOCK, &signals, &mask_);
    pending_ = signalfd(-1, &signals, SFD_CLOEXEC);
    tcgetattr(terminal_, &settings_);
    termios hidden = settings_;
    hidden.c_lflag &= ~static_cast<tcflag_t>(ECHO | ECHOE | ECHOK);
    hidden.c_lflag |= ECHONL;
    tcsetattr(terminal_, TCSAFLUSH, &hidden);
  }
  ~HiddenTyping() {
    tcsetattr(terminal_, TCSAFLUSH, &settings_);
    if (pending_ != -1) close(pending_);
    sigprocmask(SIG_SETMASK, &mask_, nullptr);  // delivers the signals that wait
  }
  HiddenTyping(const HiddenTyping&) = delete;
  HiddenTyping& operator=(const HiddenTyping&) = delete;

  // Waits for something to read or for a signal; true for the first.
  bool waitForLine() const {
    pollfd sources[] = {{terminal_, POLLIN, 0}, {pending_, POLLIN, 0}};
    int ready = 0;
    do {
      ready = poll(sources, 2, -1);
    } while (ready == -1 && errno == EINTR);
    return ready > 0 && sources[1].revents == 0;
  }

 private:
  const int terminal_;
  int pending_ = -1;
  sigset_t mask_ = {};
  termios settings_ = {};
};

enum class Typed { line, end, interrupted };

Typed readHidden(int terminal, std::string& line) {
  const HiddenTyping hidden(terminal);
  while (hidden.waitForLine()) {
    char typed[256];
    const ssize_t count = read(terminal, typed, sizeof typed);
    if (count <= 0) return Typed::end;
    line.append(typed, static_cast<std::size_t>(count));
    if (line.back() == '\n') return Typed::line;
  }
  std::fputc('\n', stderr);  // the signal is delivered after this line
  return Typed::interrupted;
}

void dropLineEnd(std::string& line) {
  if (!line.empty() && line.back() == '\n') line.pop_back();
  if (!line.empty() && line.back() == '\r') line.pop_back();
}

}  // namespace

LineReader::~LineReader() {
  if (file_ != nullptr) std::fclose(file_);
}

std::optional<std::string> LineReader::readLine() {
  if (file_ == nullptr) return std::nullopt;
  char* text = nullptr;
  std::size_t size = 0;
  const ssize_t length = getline(&text, &size, file_);
  std::optional<std::string> line;
  if (length >= 0) {
    line.emplace(text, static_cast<std::size_t>(length));
    dropLineEnd(*line);
  }
  std::free(text);
  return line;
}

std::FILE* takeStandardInput() {
  const int taken = fcntl(STDIN_FILENO, F_DUPFD_CLOEXEC, STDERR_FILENO + 1);
  const int nothing = open("/dev/null", O_RDONLY);
  if (nothing != STDIN_FILENO) {
    dup2(nothing, STDIN_FILENO);
    close(nothing);
  }
  return taken == -1 ? nullptr : fdopen(taken, "r");
}

std::optional<std::string> readPassword(LineReader& input, const std::string& prompt) {
  if (!input.isOpen() || isatty(input.descriptor()) != 1) return input.readLine();
  for (;;) {
    std::fputs(prompt.c_str(), stderr);
    std::string line;
    const Typed typed = readHidden(input.descriptor(), line);
    // The signal stopped the program, which goes on now, so ask again; other signals have ended it.
    if (typed == Typed::interrupted) continue;
    if (typed == Typed::end && line.empty()) {
      std::fputc('\n', stderr);
      return std::nullopt;
    }
    dropLineEnd(line);
    return line;
  }
}
