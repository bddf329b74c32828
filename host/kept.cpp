#include "kept.h"

#include <algorithm>
#include <cerrno>
#include <system_error>

#include "console.h"
#include "files.h"

namespace {

// Where the client keeps the text of a file that it replaces. It overwrites an earlier one.
std::string backupOf(const std::string& path, const std::string& revision) {
  const std::size_t name = path.rfind('/') + 1;
  return path.substr(0, name) + ".#" + path.substr(name) + '.' + revision;
}

}  // namespace

KeptFiles::~KeptFiles() {
  if (!hasEnded_) end(false);
}

void KeptFiles::keep(const std::string& path, const std::string& revision) {
  move(path, backupOf(path, revision), false);
}

void KeptFiles::keepBackup(const std::string& path, const std::string& revision) {
  const std::string backup = backupOf(path, revision);
  if (isHere(workingCopy_ + '/' + backup)) move(backup, backup, true);
}

void KeptFiles::move(const std::string& from, const std::string& backup, bool isBackup) {
  std::string to = backup + ".kept";
  for (int number = 2; !moveFile(workingCopy_ + '/' + from, workingCopy_ + '/' + to); ++number) {
    if (errno != EEXIST) {
      throw std::system_error(errno, std::generic_category(), "cannot move " + from + " to " + to);
    }
    to = backup + ".kept." + std::to_string(number);
  }
  kept_.push_back({from, to, isBackup, false});
}

void KeptFiles::end(bool succeeded) {
  hasEnded_ = true;
  for (auto& file : kept_) {
    if (succeeded && !file.isBackup) continue;
    file.isBack = moveFile(workingCopy_ + '/' + file.to, workingCopy_ + '/' + file.from);
  }
}

const KeptFiles::Kept* KeptFiles::find(const std::string& from) const {
  const auto found =
      std::find_if(kept_.begin(), kept_.end(), [&](const Kept& file) { return file.from == from; });
  return found == kept_.end() ? nullptr : &*found;
}

std::string KeptFiles::describe(const std::string& path, const std::string& revision) const {
  const std::string backup = backupOf(path, revision);
  const Kept *kept = find(path), *earlier = find(backup);
  const bool isKept = kept != nullptr && !kept->isBack;
  const bool isBackedUp =
      isHere(workingCopy_ + '/' + backup) && (earlier == nullptr || !earlier->isBack);
  std::string words;
  if (isKept) words += "; your text is in " + shown(kept->to);
  if (isBackedUp)
    words += (isKept ? ", and an older one in " : "; your text is in ") + shown(backup);
  if (earlier != nullptr && !earlier->isBack)
    words += "; the earlier " + shown(backup) + " is now " + shown(earlier->to);
  return words;
}
