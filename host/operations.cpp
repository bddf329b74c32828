#include "operations.h"

#include <algorithm>
#include <sstream>

#include "console.h"
#include "progress.h"

namespace {

// The client's words, without those that this program puts in its own.
std::string findWarnings(const std::string& words) {
  std::string warnings;
  std::istringstream lines(words);
  for (std::string line; std::getline(lines, line);) {
    bool isTold = false;
    for (const char* told :
         {": Updating ", ": Examining ", "conflicts during merge", ": conflicts found in ",
          "nonmergeable file needs merge", " from repository is now in ",
          "working directory is now in ", "' was lost"}) {
      isTold = isTold || line.find(told) != line.npos;
    }
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
  const bool isNew = after.command != before.command || after.text != before.text;
  const bool isAdvice = after.command == "add";
  const std::string warnings = isNew && !isAdvice ? findWarnings(after.text) : "";
  if (!warnings.empty()) passOn(warnings);
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
  if (isBatch) provider->preMulti();
  for (const auto& path : isBatch ? paths : Paths()) {
    if (!runOn(job, path, command, operation)) status = exitFailure;
  }
  const bool succeeded = perform(provider, command, [&] {
    return isBatch ? provider->postMulti() : operation(asArgument(paths[0]).c_str());
  });
  if (succeeded) return status;
  const bool isSilent = findWarnings(provider.lastError().text).empty();
  if (mayFailSilently && isSilent) return exitFailure;
  if (!isBatch) return reportFailure(provider, command + ' ' + shown(paths[0]));
  if (isSilent) complain("the names may be more than one command line holds; name fewer files");
  return reportFailure(provider, command);
}

FileGroups findOwnFiles(const Job& job) {
  FileGroups groups = findFiles(job.session, job.paths);
  const auto isForeign = [](const FileGroup& group) {
    if (group.state != FileGroup::State::foreign) return false;
    complain(shown(group.directory) + " belongs to another repository and is left out");
    return true;
  };
  groups.erase(std::remove_if(groups.begin(), groups.end(), isForeign), groups.end());
  return groups;
}

bool reachesForeign(const FileGroups& groups, const Job& job) {
  Paths foreign;
  for (const auto& group : groups) {
    if (group.state == FileGroup::State::foreign) foreign.push_back(group.directory);
  }
  if (foreign.empty()) return false;
  const auto isAbove = [&](const std::string& directory) {
    return std::any_of(foreign.begin(), foreign.end(), [&](const std::string& path) {
      return directory == "." || path.rfind(directory + '/', 0) == 0;
    });
  };
  std::string instead, top;
  for (const auto& group : groups) {
    const bool isNamed = !top.empty() && group.directory.rfind(top + '/', 0) == 0;
    if (isNamed || group.state == FileGroup::State::foreign) continue;
    if (group.isWhole && !isAbove(group.directory)) {
      top = group.directory;  // and so everything below it
      instead += ' ' + shown(top);
    } else {
      for (const auto& file : group.files) instead += ' ' + shown(file.path);
    }
  }
  complain(std::string(job.line.command->name) + " would reach " + shown(foreign[0]) +
           ", which belongs to another repository; name these instead:" + instead);
  return true;
}

bool sayChanges(const FileGroups& before, const FileGroups& after, const Describe& describe) {
  std::map<std::string, std::pair<File, File>> files;
  for (const auto& group : before) {
    for (const auto& file : group.files) files[file.path].first = file;
  }
  for (const auto& group : after) {
    for (const auto& file : group.files) files[file.path].second = file;
  }
  bool hasSaid = false;
  for (const auto& [path, file] : files) {
    const std::string line = describe(file.first, file.second);
    if (!line.empty()) say(line);
    hasSaid = hasSaid || !line.empty();
  }
  return hasSaid;
}

std::string describeChange(const std::string& verb, const std::string& path,
                           const std::string& from, const std::string& to) {
  const std::string arrow = from.empty() || from == to ? "" : ' ' + from + " ->";
  return verb + ' ' + shown(path) + arrow + ' ' + to;
}
