#pragma once

#include <filesystem>
#include <optional>
#include <string>

#include "measure.h"
#include "workload.h"

struct Sizes {
  std::size_t commands;  // in one run
  std::size_t lines;
  std::size_t fewFiles;
  std::size_t manyFiles;
  std::size_t lookups;  // in one run, at least
  TreeSizes tree;
};

// What the rows share.
struct Setup {
  Sizes sizes;
  std::string child;  // stands in for the client in all rows but the last two
  std::string scchost;
  Workspace workspace;
  std::optional<std::filesystem::path> tree = {};  // made for the first row that needs it
};

// The rows of the table. Times are in seconds, memory is in bytes.
Comparison oneCommand(Setup& setup, int pairs);
Comparison collecting(Setup& setup, int pairs);
Comparison firstStatus(Setup& setup, std::size_t files, int pairs);
Comparison growth(Setup& setup, int pairs);
Comparison cachedStatus(Setup& setup, std::size_t files, const std::string& directory, int pairs);
Comparison peakMemory(Setup& setup, int pairs);
Comparison clientStatus(Setup& setup, int pairs);
Comparison hostStatus(Setup& setup, int pairs);
