#include "operations.h"

#include <unistd.h>

#include <algorithm>
#include <cstring>
#include <sstream>

#include "console.h"
#include "progress.h"

namespace {

// The client's words, without those that this program puts in its own.
std::string findWarnings(const std::string& words) {
  std::string warnings;
  std::istringstream lines(words);
  for (std::string line; std::getline(lines, line);) {
    const auto holds = [&](const char* text) { return line.find(text) != std::string::npos; };
    const bool isTold = holds(": Updating ") || holds(": Examining ") ||
                        holds("conflicts during merge") || holds(": conflicts found in ") ||
                        holds("nonmergeable file needs merge") ||
                        holds(" from repository is now in ") ||
                        holds("file from working directory is now in ") || holds("' was lost");
    if (!isTold) warnings += (warnings.empty() ? "" : "\n") + line;
  }
  return warnings;
}

// Runs an operation, and passes on what the client has said meanwhile.
bool perform(Provider& provider, const std::string& command,
             const std::function<bool()>& operation) {
  const LastError before = provider.lastError();
  if (!waitFor(command, operation)) return false;
  const LastError after = provider.lastError();
  const std::string warnings = findWarnings(after.text);
  const bool isAdvice = after.command == "add";
  if (!(after == before) && !isAdvice && !warnings.empty()) passOn(warnings);
  return true;
}

}  // namespace

int reportFailure(Provider& provider, const std::string& operation) {
  complain(operation + " failed; " + provider.lastError().describe());
  return exitFailure;
}

std::string asArgument(const std::string& path) {
  return path[0] == '-' ? "./" + path : path;
}

const char* messageOf(const Job& job) {
  return job.line.message.empty() ? nullptr : job.line.message.c_str();
}

bool runOn(Job& job, const std::string& path, const std::string& command,
           const FileOperation& operation) {
  const auto run = [&] { return operation(asArgument(path).c_str()); };
  if (perform(job.provider, command, run)) return true;
  reportFailure(job.provider, command + ' ' + shown(path));
  return false;
}

int runAsOne(Job& job, const Paths& paths, const std::string& command,
             const FileOperation& operation, bool mayFailSilently) {
  if (paths.empty()) return exitSuccess;
  Provider& provider = job.provider;
  const bool isBatch = paths.size() > 1;
  int status = exitSuccess;
  if (isBatch) {
    provider->preMulti();
    for (const auto& path : paths) {
      if (!runOn(job, path, command, operation)) status = exitFailure;
    }
  }
  const bool succeeded = perform(provider, command, [&] {
    return isBatch ? provider->postMulti() : operation(asArgument(paths[0]).c_str());
  });
  if (succeeded) return status;
  if (mayFailSilently && findWarnings(provider.lastError().text).empty()) return exitFailure;
  return reportFailure(provider, isBatch ? command : command + ' ' + shown(paths[0]));
}

bool fitOneCommand(const Job& job, const Paths& paths) {
  // The system counts each word and a pointer to it, the environment too. It never takes more.
  constexpr std::size_t most = 6 << 20, pointer = 8, forOptions = 1000;
  const Configuration& configuration = job.session.configuration;
  std::size_t size = job.line.message.size() + configuration.client.size() +
                     configuration.root.size() + forOptions;
  for (char** variable = environ; *variable != nullptr; ++variable) {
    size += std::strlen(*variable) + 1 + pointer;
  }
  for (const auto& path : paths) size += asArgument(path).size() + 1 + pointer;
  if (size <= std::min(most, static_cast<std::size_t>(sysconf(_SC_ARG_MAX)))) return true;
  complain("the names of " + std::to_string(paths.size()) +
           " files are more than one command line holds; name fewer, such as one directory");
  return false;
}

bool reachesForeign(const std::vector<FileGroup>& groups, const Job& job) {
  Paths foreign, own;
  for (const auto& group : groups) {
    if (group.state == FileGroup::State::foreign) foreign.push_back(group.directory);
  }
  if (foreign.empty()) return false;
  const auto holdsForeign = [&](const std::string& directory) {
    return std::any_of(foreign.begin(), foreign.end(), [&](const std::string& path) {
      return directory == "." || path.rfind(directory + '/', 0) == 0;
    });
  };
  for (const auto& group : groups) {
    const std::size_t slash = group.directory.rfind('/');
    const std::string parent =
        slash == group.directory.npos ? "." : group.directory.substr(0, slash);
    const bool isAsked =
        std::find(job.paths.begin(), job.paths.end(), group.directory) != job.paths.end();
    if (!group.isWhole || holdsForeign(group.directory)) {
      for (const auto& file : group.files) own.push_back(file.path);
    } else if (group.state != FileGroup::State::foreign && (isAsked || holdsForeign(parent))) {
      own.push_back(group.directory);
    }
  }
  std::string instead;
  for (const auto& path : own) instead += ' ' + shown(path);
  complain(std::string(job.line.command->name) + " would reach " + shown(foreign[0]) +
           ", which belongs to another repository; name these instead:" + instead);
  return true;
}

std::vector<FileGroup> findOwnFiles(const Job& job) {
  std::vector<FileGroup> groups = findFiles(job.session.directory, job.paths);
  const auto isForeign = [](const FileGroup& group) {
    if (group.state != FileGroup::State::foreign) return false;
    complain(shown(group.directory) + " belongs to another repository and is left out");
    return true;
  };
  groups.erase(std::remove_if(groups.begin(), groups.end(), isForeign), groups.end());
  return groups;
}
