// files: input that is really a file, and output that appears whole or not at all.
#ifndef Q7_STUDIO_FILES_HPP
#define Q7_STUDIO_FILES_HPP

#include <string>

namespace studio {

// Throws Failure unless the path names a readable file; anything without an end (a device, a pipe) is refused.
void check_input(const std::string &path);

bool has_extension(const std::string &path, const char *extension);  // ".obj"; without regard to case
std::string file_name(const std::string &path);                      // behind the last "/"

// A file in the making. It is written under a temporary name beside the one it is to have, and takes that with
// commit(); until then, and when that never comes, what was there before stays.
class PendingFile {
 public:
  explicit PendingFile(const std::string &path);
  ~PendingFile();
  PendingFile(const PendingFile &) = delete;
  PendingFile &operator=(const PendingFile &) = delete;

  const std::string &temporary() const { return temporary_; }
  void commit();  // throws Failure
  // Gives the file the name only if nothing has it; false when something does.
  bool commit_new();
  void rename_to(const std::string &path) { path_ = path; }

 private:
  std::string path_;
  std::string temporary_;  // empty once it was committed
};

}  // namespace studio

#endif
