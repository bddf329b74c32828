#include <poll.h>
#include <signal.h>
#include <sys/signalfd.h>
#include <termios.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <optional>

#include "commands.h"
#include "console.h"
#include "operations.h"
#include "progress.h"
#include "root.h"

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

// Reads a password. On a terminal it asks first and hides what is typed; the usual keys interrupt
// it. Elsewhere it reads a line. None at the end of the input.
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
    if (!line.empty() && line.back() == '\n') line.pop_back();
    return line;
  }
}

int sayNoLogin(const std::string& root) {
  say("no login is needed for " + root);
  return exitSuccess;
}

}  // namespace

int logIn(Job& job) {
  const std::string root = job.provider->getRepositoryListEntry();
  if (!takesLogin(root)) return sayNoLogin(root);
  const auto password = readPassword(job.input, "Password for " + root + ": ");
  if (!password.has_value()) {
    complain("no password was given; not logged in");
    return exitFailure;
  }
  const bool succeeded = waitFor("login", [&] {
    return job.provider->login("", password->c_str(), root.c_str());  // the root names the user
  });
  if (!succeeded) return reportFailure(job.provider, "login");
  say("logged in to " + root);
  return exitSuccess;
}

int logOut(Job& job) {
  const std::string root = job.provider->getRepositoryListEntry();
  if (!takesLogin(root)) return sayNoLogin(root);
  waitFor("logout", [&] { return job.provider->logout(); });
  // The operation always succeeds; only the last error shows that the client failed.
  if (!job.provider.lastError().command.empty()) return reportFailure(job.provider, "logout");
  say("logged out of " + root);
  return exitSuccess;
}
