#include "survey.h"

#include <algorithm>
#include <atomic>
#include <future>

#include "changes.h"
#include "files.h"
#include "progress.h"

namespace {

// What the administrative files alone tell of a file; nothing when the provider has to be asked.
std::optional<State> lookUp(const Session& session, const VersionedFile& file) {
  if (!file.entry.has_value()) return std::nullopt;
  if (file.entry->isAdded()) return State::added;
  if (file.entry->isRemoved()) return State::removed;
  const FileSnapshot seen = takeSnapshot(session.directory, file);
  if (!seen.here) return State::missing;
  if (seen.hasOpenConflict) return State::conflict;
  return std::nullopt;
}

// Asks about the files of one directory through a provider of its own: its last error is empty at
// first, and so holds words about these files only.
class Questioner {
 public:
  explicit Questioner(const Session& session) : session_(session), provider_(session) {
    provider_->setRoots(session.directory.c_str());
  }

  DirectoryStatus askAbout(const FileGroup& group) {
    DirectoryStatus status = {group.directory, group.isWhole, {}, ""};
    if (group.state == FileGroup::State::unreadable) {
      status.reason = "it has no CVS/Entries that can be read, so its files are not known";
    } else if (group.state == FileGroup::State::missing) {
      listMissing(group.directory, status);
    }
    std::vector<std::size_t> open;  // told neither by the administrative files nor by the provider
    status.files.reserve(status.files.size() + group.files.size());
    for (const auto& file : group.files) {
      const auto state = lookUp(session_, file);
      status.files.push_back({file, state.value_or(State::told), {}, ""});
      if (state.has_value()) continue;
      if (!ask(status.files.back(), group.directory)) open.push_back(status.files.size() - 1);
    }
    for (const std::size_t index : open) explain(status.files[index]);
    if (!open.empty()) status.reason = reason_;
    return status;
  }

 private:
  // Whether the provider could read the directory.
  enum class Readable { notAsked, yes, no, unclear };

  // Returns whether the provider tells the state of a file that is here.
  bool ask(FileStatus& file, const std::string& directory) {
    if (readable_ == Readable::no) return false;
    file.answer = askStatus(provider_.object(), file.file.path.c_str());
    if (file.answer.known && file.answer.statusText != "missing") {
      readable_ = Readable::yes;
      return true;
    }
    // The repository was asked last, about this file.
    const LastError said = provider_.lastError();
    if (said.command == "rls" && !said.text.empty()) file.reason = said.describe();
    const bool isListed = file.file.entry.has_value();
    if (isListed && readable_ == Readable::notAsked) findOut(directory, said);
    if (!file.reason.empty()) provider_.forgetLastError();
    return false;
  }

  // The interface does not tell whether a directory was read. If it was not, the next question
  // reads it again, and that leaves an error.
  void findOut(const std::string& directory, const LastError& earlier) {
    provider_.forgetLastError();
    const std::string inside = directory == "." ? "" : directory + '/';
    const bool isKnown = askStatus(provider_.object(), inside.c_str()).known;
    const LastError said = provider_.lastError();
    if (said.command == "status") {
      readable_ = Readable::no;
      reason_ = "status failed; " + said.describe();
    } else if (isKnown || earlier.command == "status") {
      readable_ = Readable::yes;
    } else {
      readable_ = Readable::unclear;
    }
  }

  void explain(FileStatus& file) {
    const bool isKnown = file.answer.known;
    if (!file.file.entry.has_value()) {
      explainUnlisted(file);
    } else if (file.file.entry->hasConflict()) {
      file.state = State::conflict;
      file.reason.clear();
    } else if (readable_ == Readable::yes && !isKnown && file.reason.empty()) {
      file.state = State::dead;
    } else {
      file.state = State::noStatus;
      if (readable_ == Readable::unclear && file.reason.empty()) {
        reason_ = "the client told nothing of its files";
      } else if (readable_ == Readable::yes && isKnown) {
        file.reason = "it is in a state that the provider does not know";
      }
    }
  }

  void explainUnlisted(FileStatus& file) {
    const bool isKnown = file.answer.known;
    const std::string& path = file.file.path;
    const bool here = isHere(session_.pathOf(path));
    if (!here && isRemoteDirectory(provider_, path)) {
      file.state = State::missing;
      file.reason = "it is a directory in the repository; cvs update -d " + path + " brings it";
    } else if (isKnown) {
      file.state = here ? State::noStatus : State::missing;
      if (here) file.reason = "the repository knows it, but it is not under version control here";
    } else {
      file.state = State::unknown;
      file.reason = "it is not under version control here" +
                    (file.reason.empty() ? ", nor in the repository" : "; " + file.reason);
    }
  }

  // Adds the files of a directory that is not here, as the repository lists them.
  void listMissing(const std::string& directory, DirectoryStatus& status) {
    for (const auto& name : list(directory, false, status)) {
      status.files.push_back({{directory + '/' + name, std::nullopt}, State::missing, {}, ""});
    }
    for (const auto& name : list(directory, true, status)) {
      listMissing(directory + '/' + name, status);
    }
  }

  Names list(const std::string& directory, bool directories, DirectoryStatus& status) {
    const auto names = listRepository(provider_, remotePath(provider_, directory), directories);
    if (!names.has_value() && status.reason.empty()) {
      status.reason =
          "it is not here, and its files are not known; " + provider_.lastError().describe();
    }
    return names.value_or(Names());
  }

  const Session& session_;
  Provider provider_;
  Readable readable_ = Readable::notAsked;
  std::string reason_;  // why the states of the directory's files are not known; or empty
};

}  // namespace

void survey(const Session& session, const std::vector<FileGroup>& groups,
            const std::function<void(DirectoryStatus)>& handle) {
  std::vector<std::promise<DirectoryStatus>> answers(groups.size());
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
