#pragma once

#include <string>

#include "workingCopy.h"

// Keeps the texts of one file that the client would replace without a trace: the file, if it is
// moved away so that the client fetches it as a missing one; what the client's own backup,
// .#NAME.REVISION, would overwrite; and a copy of what that would miss, the text behind a link and
// a conflict's. Each goes to a name that the client never writes: the backup's with ".kept", and a
// number where that is taken. So however the program ends, the bytes are under one of the names.
class KeptTexts {
 public:
  // `revision` is that of the backup. Throws std::system_error when a text cannot be kept.
  KeptTexts(const std::string& workingCopy, const File& file, const std::string& revision,
            bool movesFile);
  ~KeptTexts();
  KeptTexts(const KeptTexts&) = delete;
  KeptTexts& operator=(const KeptTexts&) = delete;

  // After the client: takes back what it has not replaced. After a success a file may be gone.
  void end(bool succeeded);

  // Whether the text of the file was replaced by another one.
  bool isReplaced() const { return !text_.empty() || isBackedUp(); }

  // Says where the earlier texts are, in words that complete a line.
  std::string describe() const;

 private:
  std::string keep(const std::string& path, const std::string& name, bool copies);
  bool isBackedUp() const;

  const std::string directory_, path_, backup_;  // the working copy, and paths there
  std::string text_, earlier_;                   // where they are now; empty when not kept
  bool isBackupOld_ = false, hasEnded_ = false;
};
