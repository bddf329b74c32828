#pragma once

#include <filesystem>
#include <map>
#include <string>

#include "workingCopy.h"

// Makes files with an open conflict look touched while it lives, for the client brings none of them
// back otherwise. A file that the client has not replaced then looks untouched again: it would
// count as resolved.
class TouchedConflicts {
 public:
  TouchedConflicts(const std::string& workingCopy, const Snapshots& files);
  ~TouchedConflicts();
  TouchedConflicts(const TouchedConflicts&) = delete;
  TouchedConflicts& operator=(const TouchedConflicts&) = delete;

 private:
  struct Touched {
    std::filesystem::file_time_type before, during;
  };
  std::map<std::filesystem::path, Touched> touched_;
};
