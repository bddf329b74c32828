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

void KeptFiles::keep(const File& file) {
  move(file.path, backupOf(file.path, file.entry.revision), false);
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
  const auto found = std::find_if(kept_.begin(), kept_.end(), [&](const Kept& file) {
    return file.from == from && !file.isBack;
  });
  return found == kept_.end() ? nullptr : &*found;
}

bool KeptFiles::isBackedUp(const std::string& path, const std::string& backup) const {
  const bool isOld = std::any_of(kept_.begin(), kept_.end(), [&](const Kept& file) {
    return file.from == backup && file.isBack;
  });
  const std::string place = workingCopy_ + '/' + backup;
  // Through a server the client also keeps a text that did not change.
  return !isOld && isHere(place) && !haveSameBytes(place, workingCopy_ + '/' + path);
}

bool KeptFiles::isReplaced(const std::string& path, const std::string& revision) const {
  return find(path) != nullptr || isBackedUp(path, backupOf(path, revision));
}

std::string KeptFiles::describe(const std::string& path, const std::string& revision) const {
  const std::string backup = backupOf(path, revision);
  const Kept *kept = find(path), *earlier = find(backup);
  std::string words;
  if (kept != nullptr) words += "; your text is in " + shown(kept->to);
  if (isBackedUp(path, backup)) {
    words += (kept != nullptr ? ", and an older one in " : "; your text is in ") + shown(backup);
  }
  if (earlier != nullptr) {
    words += "; the earlier " + shown(backup) + " is now " + shown(earlier->to);
  }
  return words;
}
