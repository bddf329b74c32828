#pragma once

#include <filesystem>
#include <map>
#include <string>

#include "workingCopy.h"

// While it lives, files with an open conflict look touched: otherwise the client would not replace
// them. Afterwards a file that the client did not replace looks untouched again: otherwise its
// conflict would count as resolved.
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
