#pragma once

#include <cstdio>
#include <fstream>
#include <memory>
#include <optional>
#include <string>
#include <vector>

// Files and the environment as the system sees them. std::filesystem is not asked: in a 32-bit
// program it fails for a file whose time lies after 2038.

enum class FileKind { none, regular, directory, other };

// What a path leads to, through links.
FileKind kindOf(const std::string& path);

// Whether anything of that name is there, also a dangling link or what cannot be examined.
bool isHere(const std::string& path);

// The path without links, "." and ".."; none when nothing is there.
std::optional<std::string> resolve(const std::string& path);

// The same for as much of a path as is there.
std::string resolveExisting(const std::string& path);

// The sorted names in a directory, without "." and ".."; none when it cannot be read.
std::vector<std::string> listNames(const std::string& directory);

// The value of a variable, or the other text where it is unset or empty.
std::string fromEnvironment(const char* name, const std::string& otherwise = "");

// Opens a regular file for reading. Other kinds are not opened: a pipe would be waited for.
std::ifstream openRegular(const std::string& path);

// Whether two files can be read to their ends and are the same.
bool haveSameBytes(const std::string& one, const std::string& other);

bool holdsNul(const std::string& path);

// Renames a file, unless the new name is taken (EEXIST). Sets errno on failure.
bool moveFile(const std::string& from, const std::string& to);

// Copies the bytes of a regular file in the same way, all or none, for its owner alone.
bool copyFile(const std::string& from, const std::string& to);

struct CloseFile {
  void operator()(std::FILE* file) const { std::fclose(file); }
};
using FilePointer = std::unique_ptr<std::FILE, CloseFile>;

// Opens a file without a name in the system's temporary directory: nothing is left of it however
// the program ends. Throws std::system_error when there can be none.
FilePointer openTemporary();

// Leads this process and its children to an open file, from its start.
std::string pathOf(const FilePointer& file);
