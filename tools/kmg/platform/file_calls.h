#pragma once

// The few calls on files that systems spell differently. Paths are UTF-8; what fails leaves its reason in
// errno. Another system's implementation stands beside file_calls_posix.cpp.

#include <cstdio>
#include <string>
#include <sys/stat.h>

namespace kestrel {

// Of what a link leads to.
bool find_status(const std::string &path, struct stat &status);

// Null when it cannot be opened. Never waits for the other end of a pipe.
std::FILE *open_to_read(const std::string &path);

// A new file beside the target, which anybody may read who may read what a program of this user makes; tells
// its path.
std::FILE *create_unfinished(const std::string &target, std::string &path);
// Closes the file once its bytes are on the disk, and gives it the name of the target, in place of what has
// that name. When that fails the file is closed as well.
bool finish(std::FILE *file, const std::string &path, const std::string &target);
void remove_unfinished(const std::string &path);

} // namespace kestrel
