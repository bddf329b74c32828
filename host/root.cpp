#include "root.h"

#include <algorithm>
#include <cctype>
#include <cstddef>
#include <filesystem>

#include "files.h"

namespace {

// Cuts ":METHOD:" off the front, which may carry options, and returns the method's name.
std::string takeMethod(std::string& root) {
  const std::size_t end = root.find(':', 1);
  if (root.empty() || root[0] != ':' || end == root.npos) return "";
  std::string method = root.substr(1, std::min(root.find(';'), end) - 1);
  root.erase(0, end + 1);
  return method;
}

// The host in lower case and the path, without what does not tell repositories apart.
std::string identify(std::string root) {
  takeMethod(root);
  const std::size_t slash = std::min(root.find('/'), root.size());
  std::string host = root.substr(0, slash), path = root.substr(slash);
  host.erase(0, host.rfind('@') + 1);
  host.erase(std::min(host.find(':', host.rfind(']') + 1), host.size()));
  for (char& c : host) c = static_cast<char>(std::tolower(static_cast<unsigned char>(c)));
  if (host.empty()) path = resolve(path).value_or(path);
  return host + '/' + repositoryPath(path);
}

}  // namespace

bool takesLogin(const std::string& root) {
  std::string rest = root;
  const std::string method = takeMethod(rest);
  return method == "pserver" || method == "sserver" || method == "sspi";
}

bool isSameRepository(const std::string& one, const std::string& other) {
  return one == other || identify(one) == identify(other);
}

std::string repositoryPath(const std::string& path) {
  std::string normal = std::filesystem::path(path).lexically_normal().string();
  normal.erase(0, normal.find_first_not_of('/'));
  if (!normal.empty() && normal.back() == '/') normal.pop_back();
  return normal == "." ? "" : normal;
}
