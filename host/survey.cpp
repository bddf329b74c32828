#include "survey.h"

#include <algorithm>
#include <atomic>
#include <future>

#include "progress.h"

namespace {

// Asks about the files of one directory through a provider of its own: its last error is empty at
// first, and so holds words about these files only.
class Questioner {
 public:
  explicit Questioner(const Session& session)
      : session_(session), provider_(session.library, session.configuration) {
    provider_->setRoots(session.directory.c_str());
  }

  GroupReport askAbout(const FileGroup& group) {
    GroupReport report = {group.directory, group.isWhole, {}, ""};
    if (group.state == FileGroup::State::unreadable) {
      report.trouble = "it has no CVS/Entries that can be read, so its files are not known";
    } else if (group.state == FileGroup::State::lost) {
      listLost(group.directory, report);
    }
    report.files.reserve(group.files.size());
    for (const auto& file : group.files) report.files.push_back(ask(file));
    for (auto& file : report.files) {
      if (file.statusText.empty()) explain(file, group.directory);
    }
    return report;
  }

 private:
  // Leaves the text empty when the answer alone does not give the state.
  FileReport ask(const VersionedFile& file) {
    FileReport report = {file, {}, "", ""};
    const bool isListed = file.entry.has_value();
    if (isListed && (file.entry->isAdded() || file.entry->isRemoved())) {
      report.statusText = file.entry->isAdded() ? "added" : "removed";
      return report;
    }
    const LastError before = provider_.lastError();
    report.state = askStatus(provider_.object(), file.path.c_str());
    const LastError after = provider_.lastError();
    if (report.state.known && report.state.statusText != "missing") {
      isRead_ = true;
      report.statusText = report.state.statusText;
    } else if (!isHere(session_.directory, file.path)) {
      if (report.state.known || isListed) report.statusText = "missing";
    } else if (isListed && file.entry->hasConflict()) {
      report.statusText = "conflict";
    }
    report.trouble = wordsAbout(file.path, before, after);
    if (!report.statusText.empty()) report.trouble.clear();
    return report;
  }

  // What the client said about a file whose state it did not give. Words that have not changed are
  // about this file as well, unless they name the file for which they first appeared.
  std::string wordsAbout(const std::string& path, const LastError& before, const LastError& after) {
    if (!(after == before)) lastNamed_ = path;
    const std::string earlier = std::string(provider_->getRemoteRoot()) + '/' + lastNamed_;
    const bool isOlder = lastNamed_ != path && after.text.find(earlier) != std::string::npos;
    const std::string words = "status failed; " + after.describe();
    if (after.command == "status" && directoryWords_.empty()) directoryWords_ = words;
    return after.command == "rls" && !isOlder ? words : "";
  }

  void explain(FileReport& report, const std::string& directory) {
    const bool isListed = report.file.entry.has_value();
    if (!report.state.known && !isListed) {
      report.statusText = "unknown";
      if (report.trouble.empty()) report.trouble = "it is known neither here nor in the repository";
    } else if (report.state.known || !report.trouble.empty() || !isRead(directory)) {
      report.statusText = "no status";
      if (report.trouble.empty() && !isRead(directory)) report.trouble = directoryWords_;
      if (report.trouble.empty()) report.trouble = "it is in a state that the provider cannot tell";
    } else {
      report.statusText = "dead";
    }
  }

  // Whether the provider could read a directory: if so, it knows one of its files.
  bool isRead(const std::string& directory) {
    if (isRead_ || hasLooked_) return isRead_;
    hasLooked_ = true;
    constexpr int mostQuestions = 3;
    int questions = 0;
    const std::string prefix = directory == "." ? "" : directory + '/';
    const auto entries = readEntries(session_.directory + '/' + directory);
    for (const auto& [name, entry] : entries.value_or(Entries())) {
      const bool isPlain = !entry.directory && !entry.isAdded() && !entry.hasConflict();
      if (!isPlain || !isHere(session_.directory, prefix + name)) continue;
      const FileState state = askStatus(provider_.object(), (prefix + name).c_str());
      isRead_ = state.known && state.statusText != "missing";
      if (isRead_ || ++questions == mostQuestions) break;
    }
    return isRead_;
  }

  // The files of a directory that is not here, as the repository lists them.
  void listLost(const std::string& directory, GroupReport& report) {
    const std::string root = provider_->getRemoteRoot();
    const std::string remote = root == "." ? directory : root + '/' + directory;
    for (const auto& name : list(remote, false, report)) {
      report.files.push_back({{directory + '/' + name, std::nullopt}, {}, "missing", ""});
    }
    for (const auto& name : list(remote, true, report)) listLost(directory + '/' + name, report);
  }

  std::vector<std::string> list(const std::string& remote, bool directories, GroupReport& report) {
    std::vector<std::string> names;
    const int count = provider_->iterateRemoteDirectory(remote.c_str(), directories);
    while (const char* name = provider_->getRemoteDirectoryEntry()) names.emplace_back(name);
    if (hasListingFailed(provider_.object(), count) && report.trouble.empty()) {
      report.trouble =
          "it is not here, and its files are not known; " + provider_.lastError().describe();
    }
    return names;
  }

  const Session& session_;
  Provider provider_;
  bool isRead_ = false;  // a file of the directory has a state
  bool hasLooked_ = false;
  std::string lastNamed_;       // the file for which the client last said something new
  std::string directoryWords_;  // said when the directory was read
};

}  // namespace

void survey(const Session& session, const std::vector<FileGroup>& groups,
            const std::function<void(GroupReport)>& handle) {
  std::vector<std::promise<GroupReport>> answers(groups.size());
  std::atomic<std::size_t> next = 0, filesDone = 0;
  std::size_t files = 0;
  for (const auto& group : groups) files += group.files.size();

  const auto work = [&] {
    for (std::size_t i = next++; i < groups.size(); i = next++) {
      try {
        answers[i].set_value(Questioner(session).askAbout(groups[i]));
      } catch (...) {
        answers[i].set_exception(std::current_exception());
      }
      filesDone += groups[i].files.size();
    }
  };
  const Progress progress(std::chrono::seconds(1), [&] {
    const std::size_t last = std::min<std::size_t>(next, groups.size());
    return "status: " + std::to_string(filesDone) + " of " + std::to_string(files) + " files, in " +
           (last == 0 ? "." : groups[last - 1].directory);
  });
  std::vector<std::future<void>> workers;
  const struct Stop {
    ~Stop() { next = count; }
    std::atomic<std::size_t>& next;
    const std::size_t count;
  } stop = {next, groups.size()};  // after a failure no worker starts another group
  const std::size_t jobs = std::min<std::size_t>(session.jobs, groups.size());
  while (workers.size() < jobs) workers.push_back(std::async(std::launch::async, work));
  for (auto& answer : answers) handle(answer.get_future().get());
}
