// download_bench: a download over the loopback through the transfer class against the curl program. The server is a
// thread of this process; the files lie in memory, since disks that write back meanwhile would decide the outcome.
#include <arpa/inet.h>
#include <netinet/in.h>
#include <sys/socket.h>
#include <unistd.h>

#include <cstdlib>
#include <string>
#include <thread>

#include "app/q7app.h"
#include "bench/ratios.hpp"
#include "core/q7objects.h"
#include "io/q7transf.h"

namespace {

constexpr size_t kSize = 200 << 20;
constexpr char kFile[] = "/dev/shm/q7bench.tmp";
int port;

void serve(int connection) {
  static const std::string block(1 << 20, 'L');
  char request[4096];
  if (recv(connection, request, sizeof request, 0) > 0) {
    const std::string head = "HTTP/1.1 200 OK\r\nContent-Length: " + std::to_string(kSize) + "\r\n\r\n";
    send(connection, head.data(), head.size(), MSG_NOSIGNAL);
    for (size_t sent = 0; sent < kSize;) {
      const ssize_t n = send(connection, block.data(), std::min(block.size(), kSize - sent), MSG_NOSIGNAL);
      if (n <= 0) break;
      sent += static_cast<size_t>(n);
    }
  }
  close(connection);
}

bool start_server() {
  const int listener = socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0);
  sockaddr_in address = {};
  address.sin_family = AF_INET;
  address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
  socklen_t size = sizeof address;
  if (bind(listener, reinterpret_cast<sockaddr *>(&address), size) != 0 || listen(listener, 8) != 0) return false;
  getsockname(listener, reinterpret_cast<sockaddr *>(&address), &size);
  port = ntohs(address.sin_port);
  std::thread([=] {
    for (;;) {
      const int connection = accept4(listener, nullptr, nullptr, SOCK_CLOEXEC);
      if (connection >= 0) serve(connection);
    }
  }).detach();
  return true;
}

std::string url() { return "http://127.0.0.1:" + std::to_string(port) + "/"; }

void transfer_class(benchmark::State &state) {
  Q7Object *transfer = Q7ObjectCreate(Q7C_TRANSFER, Q7A_TRANSFER_URL, reinterpret_cast<uint64_t>(url().c_str()), 0);
  for (auto _ : state) {
    if (!transfer->dispatch(transfer->cl, transfer, Q7M_TRANSFER_DOWNLOAD, reinterpret_cast<uint64_t>(kFile), 0,
                            nullptr)) {
      state.SkipWithError("the download failed");
      break;
    }
  }
  Q7ObjectDelete(transfer);
}
BENCHMARK(transfer_class)->Unit(benchmark::kMillisecond)->UseRealTime();

void curl_program(benchmark::State &state) {
  const std::string command = "curl -s -o " + std::string(kFile) + " " + url();
  for (auto _ : state) {
    if (std::system(command.c_str()) != 0) {
      state.SkipWithError("the curl program is not installed, or failed");
      break;
    }
  }
}
BENCHMARK(curl_program)->Unit(benchmark::kMillisecond)->UseRealTime();

}  // namespace

int main(int argc, char **argv) {
  setenv("no_proxy", "*", 1);
  int32_t count = argc;
  Q7App *app = Q7AppCreate(&count, argv, Q7APP_Interactive, uint64_t{0}, 0);
  if (!app || !Q7RegisterTransferClass(app) || !start_server()) return 1;
  const std::vector<q7bench::Bar> bars = {
      {"200 MiB over the loopback, transfer class against the curl program", "transfer_class", "curl_program", 1 / 0.9},
  };
  const int status = q7bench::run(argc, argv, bars);
  std::remove(kFile);
  Q7AppDelete(app);
  return status;
}
