#include "batch.h"

#include <sstream>

#include "progress.h"
#include "report.h"

namespace {

// Passes on the client's warnings, except those that this program reports in its own words.
void passOnWarnings(const std::string& words) {
  std::istringstream lines(words);
  for (std::string line; std::getline(lines, line);) {
    const auto holds = [&](const char* text) { return line.find(text) != std::string::npos; };
    const bool isTold = holds(": Updating ") || holds(": Examining ") ||
                        holds("conflicts during merge") || holds(": conflicts found in ") ||
                        holds("' was lost");
    if (!isTold) passOn(line);
  }
}

}  // namespace

bool runOn(Provider& provider, const std::string& path, const std::string& command,
           const FileOperation& operation) {
  const bool succeeded = [&] {
    const Progress waiting = showWaiting(command);
    return operation(asArgument(path).c_str());
  }();
  if (!succeeded) provider.fail(command + ' ' + path);
  return succeeded;
}

int runAsOne(Provider& provider, const Paths& paths, const std::string& command,
             const FileOperation& operation) {
  const bool isBatch = paths.size() > 1;
  if (isBatch) provider->preMulti();
  int status = exitSuccess;
  for (const auto& path : paths) {
    if (!runOn(provider, path, command, operation)) status = exitFailure;
  }
  const bool succeeded = !isBatch || [&] {
    const Progress waiting = showWaiting(command);
    return provider->postMulti();
  }();
  if (!succeeded) return provider.fail(command);
  const LastError warned = provider.lastError();  // of "add" it is only advice
  if (status == exitSuccess && warned.command != "add") passOnWarnings(warned.text);
  return status;
}
