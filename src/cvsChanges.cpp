#include "cvs.h"

namespace {

constexpr char noComment[] = "no comment";

std::string chooseMessage(const std::optional<std::string>& comment) {
  return comment.value_or("").empty() ? noComment : *comment;
}

}  // namespace

bool CVSInterface::runOnFile(const std::string& command, const std::vector<std::string>& options,
                             const std::string& file) {
  std::vector<std::string> output;
  return executeCVSCommand(command, {}, options, localRoot, {file}, output) == 0;
}

bool CVSInterface::joinMulti(const std::string& command, const std::vector<std::string>& options,
                             const std::string& file) {
  if (!multiCommand.empty()) {
    multiFiles.push_back(file);
    return true;
  }
  // A login inside the batch has left the options: an update drops them, a commit adds to them.
  std::string newCommand = command;
  std::vector<std::string> newOptions;
  if (command != "update") newOptions = multiOptions;
  newOptions.insert(newOptions.end(), options.begin(), options.end());
  multiFiles.push_back(file);  // the last step that can run out of memory
  multiCommand.swap(newCommand);
  multiOptions.swap(newOptions);
  return true;
}

void CVSInterface::closeMulti() {
  multiCommand.clear();
  multiOptions.clear();
  multiFiles.clear();
  inMulti = false;
}

void CVSInterface::preMulti() {
  inMulti = true;
}

bool CVSInterface::postMulti() {
  if (multiFiles.empty()) {
    inMulti = false;
    return true;
  }
  std::vector<std::string> output;
  if (executeCVSCommand(multiCommand, {}, multiOptions, localRoot, multiFiles, output) != 0) {
    return false;
  }
  // The command has run: the batch closes even if reading the status runs out of memory.
  const auto close = [](CVSInterface* provider) { provider->closeMulti(); };
  const std::unique_ptr<CVSInterface, decltype(close)> closing(this, close);
  for (const auto& file : multiFiles) saved(file.c_str());
  return true;
}

bool CVSInterface::checkin(const char* file, const char* comment) {
  const auto path = copyArgument(file), message = copyArgument(comment);
  if (!path) return false;
  // An empty comment stays empty in a batch; elsewhere it counts as none.
  if (inMulti) return joinMulti("commit", {"-m", message.value_or(noComment)}, *path);
  return runOnFile("commit", {"-m", chooseMessage(message)}, *path) && saved(path->c_str());
}

bool CVSInterface::addFile(const char* file, const char* comment) {
  const auto path = copyArgument(file), message = copyArgument(comment);
  if (!path) return false;
  std::vector<std::string> pieces;
  splitString(path->c_str(), "/", pieces);
  if (pieces.empty()) return false;
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

  const std::vector<std::string> options = {"-m", chooseMessage(message)};
  if (inMulti) return joinMulti("commit", options, *path);
  return runOnFile("commit", options, *path) && saved(path->c_str());
}

bool CVSInterface::checkout(const char* file, const char*, bool clean) {
  const auto path = copyArgument(file);
  if (!path) return false;
  const CVSFileStatus* record = getFileStatus(*path);
  if (clean && record != nullptr && record->modified && !runOnFile("update", {"-C"}, *path)) {
    return false;
  }
  return runOnFile("edit", {}, *path) && saved(path->c_str());
}

bool CVSInterface::undoCheckout(const char* file, bool revert) {
  const auto path = copyArgument(file);
  if (!path) return false;
  const std::vector<std::string> keep = {"-w", "-y"}, confirm = {"-y"};
  if (!runOnFile("unedit", revert ? confirm : keep, *path)) return false;
  if (revert && !runOnFile("update", {"-C"}, *path)) return false;
  return saved(path->c_str());
}
