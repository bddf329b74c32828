#include "cvs.h"

#include <utility>

std::optional<std::string> copyArgument(const char* argument) {
  return argument == nullptr ? std::nullopt : std::optional<std::string>(argument);
}

CVSInterface::~CVSInterface() = default;

bool CVSInterface::setOption(const char* key, const char* value) {
  const auto name = copyArgument(key);
  std::string text = copyArgument(value).value_or("");
  if (name == "Environment/Source Code Control/CVSExecutable") {
    cvsExecutable = std::move(text);
  } else if (name == "Environment/Source Code Control/CVSRoot") {
    cvsRoot = std::move(text);
  } else if (name == "Environment/Source Code Control/CVSLoginRequired") {
    loginRequired = text == "Yes";
  } else if (name == "Environment/Source Code Control/CVSEditSupported") {
    editSupported = text == "Yes";
  } else {
    return false;
  }
  return true;
}

int CVSInterface::iterateRepositoryList() {
  return 1;
}

const char* CVSInterface::getRepositoryListEntry() {
  return cvsRoot.c_str();
}

const char* CVSInterface::getLocalRoot() {
  return localRoot.c_str();
}

const char* CVSInterface::getRemoteRoot() {
  return remoteRoot.c_str();
}

bool CVSInterface::checkOutSupported() {
  return editSupported;
}

bool CVSInterface::merged(const char*, const char*) {
  return false;
}

const char* CVSInterface::getRoot() {
  return ".";
}

const char* CVSInterface::getLastErrorCommand() {
  return lastErrorCommand.c_str();
}

const char* CVSInterface::getLastError() {
  return lastError.c_str();
}

void CVSInterface::setLastError(const std::string& command, const std::string& text) {
  std::string newCommand = command, newText = text;  // both or, out of memory, neither
  lastErrorCommand = std::move(newCommand);
  lastError = std::move(newText);
}
