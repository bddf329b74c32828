#include "survey.h"

#include <atomic>
#include <future>

#include "progress.h"

namespace {

// What the administrative files alone tell of a file; `told` when the provider has to be asked.
State lookUp(const File& file) {
  if (!file.entry.listed) return State::told;
  if (file.entry.isAdded()) return State::added;
  if (file.entry.isRemoved()) return State::removed;
  if (!file.here) return State::missing;
  return file.hasOpenConflict ? State::conflict : State::told;
}

// Asks about the files of one directory through a provider of its own: its last error is empty at
// first, and so holds words about these files only.
class Questioner {
 public:
  explicit Questioner(const Session& session) : provider_(session) {
    provider_->setRoots(session.directory.c_str());
  }

  DirectoryStatus askAbout(const FileGroup& group) {
    status_ = {group.directory, group.isWhole, {}, ""};
    if (group.state == FileGroup::State::unreadable) {
      status_.reason = "it has no CVS/Entries that can be read, so its files are not known";
    } else if (group.state == FileGroup::State::missing) {
      listMissing(group.directory);
    }
    std::vector<std::size_t> open;  // told neither by the administrative files nor by the provider
    for (const auto& file : group.files) {
      status_.files.push_back({file, lookUp(file), {}, ""});
      FileStatus& last = status_.files.back();
      if (last.state == State::told && !ask(last)) open.push_back(status_.files.size() - 1);
    }
    for (const std::size_t index : open) explain(status_.files[index]);
    return std::move(status_);
  }

 private:
  // Returns whether the provider tells the state of a file that is here.
  bool ask(FileStatus& file) {
    if (readable_ == Readable::no) return false;
    file.answer = askStatus(provider_.object(), file.file.path.c_str());
    if (file.answer.known && file.answer.statusText != "missing") {
      readable_ = Readable::yes;
      return true;
    }
    // The repository was asked last, about this file.
    const LastError said = provider_.lastError();
    if (said.command == "rls" && !said.text.empty()) file.reason = said.describe();
    if (file.file.entry.listed && readable_ == Readable::notAsked) findOut(said);
    if (!file.reason.empty()) provider_.forgetLastError();
    return false;
  }

  // Finds out whether the provider could read the directory, which the interface does not tell: if
  // not, the next question reads it again, and that leaves an error.
  void findOut(const LastError& earlier) {
    provider_.forgetLastError();
    const std::string inside = status_.directory == "." ? "" : status_.directory + '/';
    const bool isKnown = askStatus(provider_.object(), inside.c_str()).known;
    const LastError said = provider_.lastError();
    if (said.command == "status") {
      readable_ = Readable::no;
      status_.reason = "status failed; " + said.describe();
    } else {
      const bool wasRead = isKnown || earlier.command == "status";
      readable_ = wasRead ? Readable::yes : Readable::unclear;
    }
  }

  void explain(FileStatus& file) {
    const bool isKnown = file.answer.known;
    if (!file.file.entry.listed) {
      explainUnlisted(file);
    } else if (file.file.entry.hasConflict()) {
      file.state = State::conflict;
      file.reason.clear();
    } else if (readable_ == Readable::yes && !isKnown && file.reason.empty()) {
      file.state = State::dead;
    } else {
      file.state = State::noStatus;
      if (readable_ == Readable::yes && isKnown) {
        file.reason = "it is in a state that the provider does not know";
      } else if (readable_ == Readable::unclear && file.reason.empty()) {
        status_.reason = "the client told nothing of its files";
      }
    }
  }

  void explainUnlisted(FileStatus& file) {
    const std::string& path = file.file.path;
    if (!file.file.here && isRemoteDirectory(provider_, path)) {
      file.state = State::missing;
      file.reason = "it is a directory in the repository; cvs update -d " + path + " brings it";
    } else if (file.answer.known && !file.file.here) {
      file.state = State::missing;
    } else if (file.answer.known) {
      file.state = State::noStatus;
      file.reason = "the repository knows it, but it is not under version control here";
    } else {
      file.state = State::unknown;
      const std::string words = file.reason.empty() ? ", nor in the repository" : "; ";
      file.reason = "it is not under version control here" + words + file.reason;
    }
  }

  // Adds the files of a directory that is not here, as the repository lists them.
  void listMissing(const std::string& directory) {
    for (const auto& name : list(directory, false)) {
      status_.files.push_back({{directory + '/' + name, {}}, State::missing, {}, ""});
    }
    for (const auto& name : list(directory, true)) listMissing(directory + '/' + name);
  }

  Names list(const std::string& directory, bool directories) {
    const auto names = listRepository(provider_, remotePath(provider_, directory), directories);
    if (!names.has_value() && status_.reason.empty()) {
      const std::string words = provider_.lastError().describe();
      status_.reason = "it is not here, and its files are not known; " + words;
    }
    return names.value_or(Names());
  }

  enum class Readable { notAsked, yes, no, unclear };

  Provider provider_;
  DirectoryStatus status_;
  Readable readable_ = Readable::notAsked;  // the directory, by the provider
};

}  // namespace

std::string textOf(const FileStatus& file) {
  // In the order of the states.
  constexpr const char* texts[] = {"",         "added", "removed",   "missing",
                                   "conflict", "dead",  "no status", "unknown"};
  return file.state == State::told ? file.answer.statusText : texts[static_cast<int>(file.state)];
}

void survey(const Session& session, const FileGroups& groups,
            const std::function<void(const DirectoryStatus&)>& handle) {
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
    return "status: " + std::to_string(filesDone) + " of " + std::to_string(files) + " files";
  });
  std::vector<std::future<void>> workers;
  const std::size_t jobs = std::min<std::size_t>(session.jobs, groups.size());
  while (workers.size() < jobs) workers.push_back(std::async(std::launch::async, work));
  for (auto& answer : answers) handle(answer.get_future().get());
}
