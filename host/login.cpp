#include "commands.h"
#include "progress.h"
#include "report.h"

int logIn(Provider& provider, LineReader& input) {
  const std::string root = provider->getRepositoryListEntry();
  const auto password = readPassword(input, "Password for " + root + ": ");
  if (!password.has_value()) {
    complain("no password was given; not logged in");
    return exitFailure;
  }
  const bool succeeded = [&] {
    const Progress waiting = showWaiting("login");
    return provider->login("", password->c_str(), root.c_str());  // the root names the user
  }();
  if (!succeeded) return provider.fail("login");
  say("logged in to " + root);
  return exitSuccess;
}

int logOut(Provider& provider) {
  {
    const Progress waiting = showWaiting("logout");
    provider->logout();
  }
  // The operation always succeeds; only the last error shows that the client failed.
  if (!provider.lastError().command.empty()) return provider.fail("logout");
  say(std::string("logged out of ") + provider->getRepositoryListEntry());
  return exitSuccess;
}
