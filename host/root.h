#pragma once

#include <string>

// What a repository specification says: [:METHOD:][[USER[:PASSWORD]]@][HOST[:PORT]]/PATH.

// Whether the client can log in there, to a server with passwords of its own.
bool takesLogin(const std::string& root);

// Whether two specifications lead to one repository: by host and path, whatever the method, the
// user and the port are. Local paths are resolved.
bool isSameRepository(const std::string& one, const std::string& other);

// A path in the repository as the client takes it; empty for the top.
std::string repositoryPath(const std::string& path);
