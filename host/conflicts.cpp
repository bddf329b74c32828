#include "conflicts.h"

#include <chrono>

namespace fs = std::filesystem;

TouchedConflicts::TouchedConflicts(const std::string& workingCopy, const Snapshots& files) {
  for (const auto& [name, file] : files) {
    if (!file.hasOpenConflict) continue;
    const fs::path path = fs::path(workingCopy) / name;
    std::error_code failed;
    const auto before = fs::last_write_time(path, failed);
    if (!failed) fs::last_write_time(path, before + std::chrono::seconds(1), failed);
    if (!failed) touched_[path] = {before, fs::last_write_time(path, failed)};
  }
}

TouchedConflicts::~TouchedConflicts() {
  for (const auto& [path, times] : touched_) {
    std::error_code failed;
    if (fs::last_write_time(path, failed) != times.during || failed) continue;
    fs::last_write_time(path, times.before, failed);
  }
}
