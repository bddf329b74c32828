#pragma once

#include <string>

#include "provider.h"

// A file for a short time, which only this user can read.
class TemporaryFile {
 public:
  // Throws std::system_error when none can be made.
  TemporaryFile();
  ~TemporaryFile();
  TemporaryFile(const TemporaryFile&) = delete;
  TemporaryFile& operator=(const TemporaryFile&) = delete;

  const std::string& path() const { return path_; }

 private:
  std::string path_;
};

// Fetches one revision of a file, as lines of text, into `destination`. False after a failure,
// which has been reported: the client succeeds, with no output, also for a revision that the file
// does not have. The provider must not have run a command before.
bool fetchRevision(Provider& provider, const std::string& file, const std::string& revision,
                   const std::string& destination);
