#include "kept.h"

#include <cerrno>
#include <system_error>

#include "console.h"
#include "files.h"

namespace {

// Where the client keeps the text of a file that it replaces. It overwrites an earlier one.
std::string backupOf(const std::string& path, const std::string& revision) {
  const std::size_t name = path.rfind('/') + 1;
  return path.substr(0, name) + ".#" + path.substr(name) + (revision.empty() ? "" : ".") + revision;
}

}  // namespace

KeptTexts::KeptTexts(const std::string& workingCopy, const File& file, const std::string& revision,
                     bool movesFile)
    : directory_(workingCopy + '/'), path_(file.path), backup_(backupOf(path_, revision)) {
  const bool copiesFile = kindOf(directory_ + path_) == FileKind::regular &&
                          (file.hasOpenConflict || (file.isLink && !file.isAsFetched));
  if (movesFile || copiesFile) {
    text_ = keep(path_, backupOf(path_, file.entry.revision), !movesFile);
  }
  if (isHere(directory_ + backup_)) earlier_ = keep(backup_, backup_, false);
}

KeptTexts::~KeptTexts() {
  if (!hasEnded_) end(false);
}

std::string KeptTexts::keep(const std::string& path, const std::string& name, bool copies) {
  const auto take = copies ? copyFile : moveFile;
  std::string to = name + ".kept";
  for (int number = 2; !take(directory_ + path, directory_ + to); ++number) {
    const std::error_code error(errno, std::generic_category());
    if (error != std::errc::file_exists) {
      end(false);  // nothing is kept, so nothing may be moved
      throw std::system_error(error, "cannot keep " + path + " as " + to);
    }
    to = name + ".kept." + std::to_string(number);
  }
  return to;
}

void KeptTexts::end(bool succeeded) {
  hasEnded_ = true;
  const auto moveBack = [&](std::string& from, const std::string& to) {
    const bool isBack = !from.empty() && moveFile(directory_ + from, directory_ + to);
    if (isBack) from.clear();
    return isBack;
  };
  isBackupOld_ = moveBack(earlier_, backup_);
  if (!succeeded) moveBack(text_, path_);
  const std::string text = directory_ + text_, backup = directory_ + backup_;
  const bool isThereTwice =
      haveSameBytes(text, directory_ + path_) || (!isBackupOld_ && haveSameBytes(text, backup));
  if (text_.empty() || !isThereTwice) return;
  std::remove(text.c_str());
  text_.clear();
}

bool KeptTexts::isBackedUp() const {
  const std::string place = directory_ + backup_;
  // Through a server the client also keeps a text that did not change.
  return !isBackupOld_ && isHere(place) && !haveSameBytes(place, directory_ + path_);
}

std::string KeptTexts::describe() const {
  std::string words = text_.empty() ? "" : "; your text is in " + shown(text_);
  const std::string older = text_.empty() ? "; your text is in " : ", and an older one in ";
  if (isBackedUp()) words += older + shown(backup_);
  if (earlier_.empty()) return words;
  return words + "; the earlier " + shown(backup_) + " is now " + shown(earlier_);
}
