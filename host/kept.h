#pragma once

#include <string>
#include <utility>
#include <vector>

#include "workingCopy.h"

// Keeps texts that the client would replace without a trace. Each is moved to a name that the
// client never writes: that of the client's own backup, ".#NAME.REVISION", with ".kept" and where
// that is taken a number behind it. So whenever the program is interrupted, the bytes are there
// under one of the two names. What cannot be moved throws std::system_error.
class KeptFiles {
 public:
  explicit KeptFiles(std::string workingCopy) : workingCopy_(std::move(workingCopy)) {}
  ~KeptFiles();
  KeptFiles(const KeptFiles&) = delete;
  KeptFiles& operator=(const KeptFiles&) = delete;

  // Moves a file away; the client then fetches it as a missing one.
  void keep(const File& file);

  // Moves away what the client's backup of a file would overwrite, if there is anything.
  void keepBackup(const std::string& path, const std::string& revision);

  // To be called after the client: moves back what it has not replaced. But after a success a file
  // that is gone was meant to go.
  void end(bool succeeded);

  // Whether the client has replaced the text of a file by another one.
  bool isReplaced(const std::string& path, const std::string& revision) const;

  // Says where the earlier texts of a file are, in words that complete a line.
  std::string describe(const std::string& path, const std::string& revision) const;

 private:
  struct Kept {
    std::string from, to;
    bool isBackup, isBack;
  };
  void move(const std::string& from, const std::string& backup, bool isBackup);
  // Null when it has not been moved, or is back.
  const Kept* find(const std::string& from) const;
  bool isBackedUp(const std::string& path, const std::string& backup) const;

  const std::string workingCopy_;
  std::vector<Kept> kept_;
  bool hasEnded_ = false;
};
