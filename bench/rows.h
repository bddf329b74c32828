#pragma once

#include <filesystem>
#include <optional>
#include <string>

#include "measure.h"
#include "workload.h"

struct Sizes {
  std::size_t commands;  // in one timing
  std::size_t lines;
  std::size_t fewFiles;
  std::size_t manyFiles;
  std::size_t lookups;  // in one timing, at least
  TreeSizes tree;
};

// What all rows share.
struct Setup {
  Sizes sizes;
  std::string child;    // stands in for the client
  std::string client;   // the real one; empty where there is none
  std::string scchost;  // empty where there is none
  Workspace workspace;
  std::optional<std::filesystem::path> tree = {};  // made for the first row that needs it
};

// The rows of the table. Times are in seconds, memory is in bytes.
Comparison oneCommand(Setup& setup, int pairs);
Comparison collecting(Setup& setup, int pairs);
Comparison firstStatus(Setup& setup, std::size_t files, int pairs);
Comparison growth(Setup& setup, int pairs);
Comparison cachedStatus(Setup& setup, const std::string& prefix, std::size_t files, int pairs);
Comparison peakMemory(Setup& setup, int pairs);
Comparison clientStatus(Setup& setup, int pairs);
Comparison hostStatus(Setup& setup, int pairs);
