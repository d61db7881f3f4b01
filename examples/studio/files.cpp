// files: see the header. Temporary names are made by the system, so two processes that write the same file do not meet.
#include "examples/studio/files.hpp"

#include <fcntl.h>
#include <strings.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>

#include "examples/studio/session.hpp"

namespace studio {

namespace {

constexpr size_t kLongestName = 255;  // what a file object takes

bool sync(const std::string &path) {
  const int file = open(path.c_str(), O_WRONLY | O_CLOEXEC);
  if (file < 0) return false;
  const bool done = fsync(file) == 0;
  return close(file) == 0 && done;
}

}  // namespace

void check_input(const std::string &path) {
  if (path.size() > kLongestName) throw Failure(Text::kNameTooLong, file_name(path).c_str());
  struct stat status = {};
  if (stat(path.c_str(), &status) != 0 || access(path.c_str(), R_OK) != 0) {
    throw Failure(Text::kCannotOpen, path.c_str(), std::strerror(errno));
  }
  if (!S_ISREG(status.st_mode)) throw Failure(Text::kNotAFile, path.c_str());
}

bool has_extension(const std::string &path, const char *extension) {
  const size_t length = std::strlen(extension);
  return path.size() > length && strcasecmp(path.c_str() + path.size() - length, extension) == 0;
}

std::string file_name(const std::string &path) { return path.substr(path.rfind('/') + 1); }

PendingFile::PendingFile(const std::string &path) : path_(path), temporary_(path + ".XXXXXX") {
  if (temporary_.size() > kLongestName) throw Failure(Text::kNameTooLong, file_name(path).c_str());
  struct stat status = {};
  if (stat(path.c_str(), &status) == 0 && !S_ISREG(status.st_mode)) throw Failure(Text::kNotAFile, path.c_str());
  const int file = mkostemp(temporary_.data(), O_CLOEXEC);
  if (file < 0) {
    temporary_.clear();
    throw Failure(Text::kCannotWrite, path.c_str(), std::strerror(errno));
  }
  // The file is to have the permissions that any new file of the user has.
  const mode_t mask = umask(0);
  umask(mask);
  fchmod(file, 0666 & ~mask);
  close(file);
}

PendingFile::~PendingFile() {
  if (!temporary_.empty()) unlink(temporary_.c_str());
}

void PendingFile::commit() {
  if (!sync(temporary_) || std::rename(temporary_.c_str(), path_.c_str()) != 0) {
    throw Failure(Text::kCannotWrite, path_.c_str(), std::strerror(errno));
  }
  temporary_.clear();
}

bool PendingFile::commit_new() {
  if (!sync(temporary_)) throw Failure(Text::kCannotWrite, path_.c_str(), std::strerror(errno));
  if (link(temporary_.c_str(), path_.c_str()) != 0) {
    if (errno == EEXIST) return false;
    throw Failure(Text::kCannotWrite, path_.c_str(), std::strerror(errno));
  }
  unlink(temporary_.c_str());
  temporary_.clear();
  return true;
}

}  // namespace studio
