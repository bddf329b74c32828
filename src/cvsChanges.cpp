#include "cvs.h"

namespace {

constexpr char noComment[] = "no comment";

std::string messageOf(const char* comment) {
  return comment == nullptr || *comment == '\0' ? noComment : comment;
}

}  // namespace

bool CVSInterface::runOnFile(const std::string& command, const std::vector<std::string>& options,
                             const char* file) {
  std::vector<std::string> output;
  return executeCVSCommand(command, {}, options, localRoot, {file}, output) == 0;
}

bool CVSInterface::joinMulti(const char* command, const std::vector<std::string>& options,
                             const char* file) {
  if (multiCommand.empty()) {
    multiCommand = command;
    multiOptions.insert(multiOptions.end(), options.begin(), options.end());
  }
  multiFiles.emplace_back(file);
  return true;
}

void CVSInterface::preMulti() {
  inMulti = true;
}

bool CVSInterface::postMulti() {
  if (!multiFiles.empty()) {
    std::vector<std::string> output;
    if (executeCVSCommand(multiCommand, {}, multiOptions, localRoot, multiFiles, output) != 0) {
      return false;
    }
    for (const auto& file : multiFiles) saved(file.c_str());
    multiCommand.clear();
    multiOptions.clear();
    multiFiles.clear();
  }
  inMulti = false;
  return true;
}

bool CVSInterface::checkin(const char* file, const char* comment) {
  if (file == nullptr) return false;
  if (inMulti) {
    // Here an empty comment stays empty, where elsewhere it counts as none.
    return joinMulti("commit", {"-m", comment == nullptr ? noComment : comment}, file);
  }
  return runOnFile("commit", {"-m", messageOf(comment)}, file) && saved(file);
}

bool CVSInterface::addFile(const char* file, const char* comment) {
  if (file == nullptr) return false;
  std::vector<std::string> pieces;
  splitString(file, "/", pieces);
  if (pieces.empty()) return false;
  const std::vector<std::string> options = {"-m", messageOf(comment)};
  const std::string name = pieces.back();
  pieces.pop_back();

  std::vector<std::string> output;
  std::string directory = localRoot;
  for (const auto& piece : pieces) {
    const std::string inner = directory + '/' + piece;
    if (!isWorkingCopy(inner)) {
      if (executeCVSCommand("add", {}, {}, directory, {piece}, output) != 0) return false;
      statusCache.erase(inner);
    }
    directory = inner;
  }
  if (executeCVSCommand("add", {}, {}, directory, {name}, output) != 0) return false;

  if (inMulti) return joinMulti("commit", options, file);
  return runOnFile("commit", options, file) && saved(file);
}

bool CVSInterface::checkout(const char* file, const char*, bool clean) {
  if (file == nullptr) return false;
  const CVSFileStatus* record = getFileStatus(file);
  if (clean && record != nullptr && record->modified && !runOnFile("update", {"-C"}, file)) {
    return false;
  }
  return runOnFile("edit", {}, file) && saved(file);
}

bool CVSInterface::undoCheckout(const char* file, bool revert) {
  if (file == nullptr) return false;
  if (!revert) return runOnFile("unedit", {"-w", "-y"}, file) && saved(file);
  return runOnFile("unedit", {"-y"}, file) && runOnFile("update", {"-C"}, file) && saved(file);
}
