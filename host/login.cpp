#include <fcntl.h>
#include <signal.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cstdlib>

#include "console.h"
#include "operations.h"
#include "progress.h"
#include "root.h"

namespace {

// Reads what is typed on the terminal, without showing it, and ends the program with a key that
// interrupts. The shell makes the terminal show it again in every case. False at the end of input.
bool readHidden(std::string& typed) {
  int ends[2];
  if (pipe2(ends, O_CLOEXEC) == -1) return false;
  const FilePointer lines(fdopen(ends[0], "r")), shell(fdopen(ends[1], "w"));
  fcntl(ends[1], F_SETFD, 0);
  const std::string script =
      "exec </dev/tty; shown=$(stty -g); trap 'stty \"$shown\"; echo >&2' EXIT; "
      "trap 'exit 130' INT; stty -echo; IFS= read -r typed && printf '%s\\n' \"$typed\" >&" +
      std::to_string(ends[1]);
  const int status = std::system(script.c_str());
  if (WIFEXITED(status) && WEXITSTATUS(status) == 128 + SIGINT) raise(SIGINT);
  return status == 0 && readLine(lines.get(), typed);
}

// Asks on a terminal; elsewhere takes a line of the input. False at the end of input.
bool readPassword(std::FILE* input, const std::string& root, std::string& password) {
  if (input == nullptr || isatty(fileno(input)) != 1) return readLine(input, password);
  std::fputs(("Password for " + root + ": ").c_str(), stderr);
  return readHidden(password);
}

int sayNoLogin(const std::string& root) {
  say("no login is needed for " + root);
  return exitSuccess;
}

}  // namespace

int logIn(Job& job) {
  const std::string& root = job.session.root;
  if (!takesLogin(root)) return sayNoLogin(root);
  std::string password;
  if (!readPassword(job.input, root, password)) return fail("no password was given; not logged in");
  const bool succeeded = waitFor("login", [&] {
    return job.provider->login("", password.c_str(), root.c_str());  // the root names the user
  });
  if (!succeeded) return reportFailure(job.provider, "login");
  say("logged in to " + root);
  return exitSuccess;
}

int logOut(Job& job) {
  const std::string& root = job.session.root;
  if (!takesLogin(root)) return sayNoLogin(root);
  waitFor("logout", [&] { return job.provider->logout(); });
  // The operation always succeeds; only the last error shows that the client failed.
  if (!job.provider.lastError().command.empty()) return reportFailure(job.provider, "logout");
  say("logged out of " + root);
  return exitSuccess;
}
