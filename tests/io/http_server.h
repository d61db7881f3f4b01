// http_server: a real HTTP server in a process of its own (http_server.py), for as long as the object lives.
#ifndef Q7_TESTS_IO_HTTP_SERVER_H
#define Q7_TESTS_IO_HTTP_SERVER_H

#include <fcntl.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <string>

namespace iotest {

class HttpServer {
 public:
  HttpServer() {
    int to[2], from[2];
    if (pipe2(to, O_CLOEXEC) != 0 || pipe2(from, O_CLOEXEC) != 0) std::abort();
    posix_spawn_file_actions_t actions;
    posix_spawn_file_actions_init(&actions);
    posix_spawn_file_actions_adddup2(&actions, to[0], 0);
    posix_spawn_file_actions_adddup2(&actions, from[1], 1);
    char program[] = Q7_PYTHON, script[] = Q7_HTTP_SERVER;
    char *words[] = {program, script, nullptr};
    if (posix_spawn(&process_, program, &actions, nullptr, words, environ) != 0) std::abort();
    posix_spawn_file_actions_destroy(&actions);
    close(to[0]);
    close(from[1]);
    leash_ = to[1];
    FILE *said = fdopen(from[0], "r");
    if (std::fscanf(said, "%d", &port_) != 1) std::abort();
    std::fclose(said);
  }
  ~HttpServer() {
    close(leash_);
    waitpid(process_, nullptr, 0);
  }
  HttpServer(const HttpServer &) = delete;
  HttpServer &operator=(const HttpServer &) = delete;
  std::string url(const std::string &path) const { return "http://127.0.0.1:" + std::to_string(port_) + path; }

 private:
  pid_t process_ = 0;
  int leash_ = -1;  // the server ends when this is closed, also when the test dies
  int port_ = 0;
};

}  // namespace iotest

#endif
