#include "batch.h"

#include "progress.h"
#include "report.h"

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
  if (!isBatch) return status;
  const bool succeeded = [&] {
    const Progress waiting = showWaiting(command);
    return provider->postMulti();
  }();
  return succeeded ? status : provider.fail(command);
}
