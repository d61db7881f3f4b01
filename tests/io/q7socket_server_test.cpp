// q7socket: servers, and how connections are opened.
#include "tests/io/q7socket_test.h"

namespace {

using namespace sockettest;

// ---- Servers ----

TEST_F(SocketTest, AServerPicksAFreePort) {
  int32_t port = 0;
  Object server(Q7C_FILE, server_tags(&port));
  ASSERT_NE(server, nullptr);
  EXPECT_GT(port, 0);
  EXPECT_EQ(get<int32_t>(server, Q7A_FILE_PORT), port);
  Plain client = Plain::connected(port);
  EXPECT_EQ(iotest::send(server, Q7M_FILE_ACCEPT), 1u);
  EXPECT_STREQ(get<const char *>(server, Q7A_FILE_PEER), "127.0.0.1");
  client.write(plain_block("ping"));
  char text[5] = "";
  EXPECT_EQ(q7_read(stream_of(server), text, 4, 1, nullptr), 1u);
  EXPECT_STREQ(text, "ping");
  q7_write(stream_of(server), "pong", 4, 1, nullptr);
  EXPECT_EQ(iotest::send(server, Q7M_FILE_CLOSE_ACCEPTED), 1u);
  EXPECT_EQ(client.rest(), plain_block("pong"));
  EXPECT_EQ(iotest::send(server, Q7M_FILE_CLOSE_ACCEPTED), 0u);
}

TEST_F(SocketTest, TheNextClientMeetsNothingOfTheOneBefore) {
  int32_t port = 0;
  Object server(Q7C_FILE, server_tags(&port));
  {
    Plain client = Plain::connected(port);
    ASSERT_EQ(iotest::send(server, Q7M_FILE_ACCEPT), 1u);
    client.write(plain_block("secret of the first"));
    char byte;
    EXPECT_EQ(q7_read(stream_of(server), &byte, 1, 1, nullptr), 1u);
  }
  Plain client = Plain::connected(port);
  ASSERT_EQ(iotest::send(server, Q7M_FILE_ACCEPT), 1u);  // closes the first
  client.write(header(3, true) + "zzz");
  std::string text(100, 'x');
  EXPECT_EQ(q7_read(stream_of(server), text.data(), 1, 100, nullptr), 100u);
  EXPECT_EQ(text, std::string(100, 0));
}

TEST_F(SocketTest, ReadingADeadAcceptedConnectionStopsTheProcess) {
  int32_t port = 0;
  Object server(Q7C_FILE, server_tags(&port));
  Plain::connected(port).close();
  ASSERT_EQ(iotest::send(server, Q7M_FILE_ACCEPT), 1u);
  char byte;
  EXPECT_EQ(q7_read(stream_of(server), &byte, 1, 1, nullptr), 0u);
  EXPECT_EQ(get<int32_t>(server, Q7A_FILE_DEAD), 1);
  EXPECT_DEATH(q7_read(stream_of(server), &byte, 1, 1, nullptr), "Assertion failed: 0 \\(q7file:647\\)");
}

TEST_F(SocketTest, AcceptWaitsForTheTimeoutOnly) {
  set_timeout(1);
  int32_t port = 0;
  Object server(Q7C_FILE, server_tags(&port));
  const auto start = Clock::now();
  EXPECT_EQ(iotest::send(server, Q7M_FILE_ACCEPT), 0u);
  EXPECT_LT(std::chrono::duration<double>(Clock::now() - start).count(), 3);
  EXPECT_EQ(error_of(server), 5509);
  EXPECT_EQ(iotest::send(obj(), Q7M_FILE_ACCEPT), 0u);  // no server
}

TEST_F(SocketTest, WaitAnswersLikeSelect) {
  set_timeout(1);
  EXPECT_EQ(iotest::send(obj(), Q7M_FILE_WAIT, 0), 0u);
  EXPECT_EQ(error_of(obj()), 5509);
  EXPECT_EQ(iotest::send(obj(), Q7M_FILE_WAIT, 1), 1u);
  far_.write(plain_block("ab"));
  EXPECT_EQ(iotest::send(obj(), Q7M_FILE_WAIT, 0), 1u);
  EXPECT_EQ(read(1), "a");
  EXPECT_EQ(iotest::send(obj(), Q7M_FILE_WAIT, 0), 1u);  // "b" is here already
  set_timeout(0);
  EXPECT_EQ(read(1), "b");
  EXPECT_EQ(iotest::send(obj(), Q7M_FILE_WAIT, 0), 0u);
}

// ---- Opening ----

TEST_F(SocketTest, RefusedConnectionsAre5501) {
  int port = 0;
  Plain::listening(&port).close();
  int32_t error = 0, system = 0;
  Tags tags = client_tags(port);
  tags.push_back({512, arg(&error)});
  tags.push_back({Q7A_FILE_SYSTEM_ERROR, arg(&system)});
  EXPECT_EQ(Q7ObjectCreateA(Q7C_FILE, list(tags).data()), nullptr);
  EXPECT_EQ(error, 5501);
  EXPECT_EQ(system, ECONNREFUSED);
}

TEST_F(SocketTest, WrongModesAndPortsAre5501) {
  const std::pair<const char *, int> cases[] = {{"r", port_}, {"", port_},  {nullptr, port_}, {"c", 0},
                                                {"c", -1},    {"c", 65536}, {"s", 70000}};
  for (const auto &[mode, port] : cases) {
    int32_t error = 0;
    const Tags tags = {{Q7A_FILE_MODE, arg(mode)},
                       {Q7A_FILE_HOST, arg("127.0.0.1")},
                       {Q7A_FILE_PORT, static_cast<uint64_t>(port)},
                       {512, arg(&error)}};
    EXPECT_EQ(Q7ObjectCreateA(Q7C_FILE, list(tags).data()), nullptr);
    EXPECT_EQ(error, 5501);
  }
}

TEST_F(SocketTest, NamesAndIpv6) {
  const Tags by_name = {
      {Q7A_FILE_MODE, arg("client")}, {Q7A_FILE_HOST, arg("localhost")}, {Q7A_FILE_PORT, static_cast<uint64_t>(port_)}};
  EXPECT_NE(Object(Q7C_FILE, by_name), nullptr);
  const Tags unnamed = {{Q7A_FILE_MODE, arg("c")}, {Q7A_FILE_HOST, 0}, {Q7A_FILE_PORT, static_cast<uint64_t>(port_)}};
  EXPECT_NE(Object(Q7C_FILE, unnamed), nullptr);
  int32_t port = 0;
  const Tags v6 = {
      {Q7A_FILE_MODE, arg("s")}, {Q7A_FILE_HOST, arg("::1")}, {Q7A_FILE_PORT, 0}, {Q7A_FILE_BOUND_PORT, arg(&port)}};
  Object server(Q7C_FILE, v6);
  // Where the machine itself has no IPv6 loopback, the stream is refused and nothing else.
  const Plain probe(socket(AF_INET6, SOCK_STREAM, 0));
  sockaddr_in6 loopback = {};
  loopback.sin6_family = AF_INET6;
  loopback.sin6_addr = in6addr_loopback;
  const bool has_v6 = bind(probe.get(), reinterpret_cast<sockaddr *>(&loopback), sizeof loopback) == 0;
  ASSERT_EQ(static_cast<bool>(server), has_v6);
  if (!has_v6) return;
  char peer[64] = "";
  const Tags client = {{Q7A_FILE_MODE, arg("c")},
                       {Q7A_FILE_HOST, arg("::1")},
                       {Q7A_FILE_PORT, static_cast<uint64_t>(port)},
                       {Q7A_FILE_PEER, arg(peer)}};
  EXPECT_NE(Object(Q7C_FILE, client), nullptr);
  EXPECT_STREQ(peer, "::1");
}

TEST_F(SocketTest, AServerPrefersTheIpv4AddressOfItsHost) {
  int32_t port = 0;
  const Tags tags = {{Q7A_FILE_MODE, arg("s")},
                     {Q7A_FILE_HOST, arg("both.test")},
                     {Q7A_FILE_PORT, 0},
                     {Q7A_FILE_BOUND_PORT, arg(&port)}};
  Object server(Q7C_FILE, tags);
  ASSERT_NE(server, nullptr);
  Plain client = Plain::connected(port);
  EXPECT_EQ(iotest::send(server, Q7M_FILE_ACCEPT), 1u);
}

TEST_F(SocketTest, ConnectingIsBounded) {
  // A listener whose queue is full answers no further connection.
  Plain full(socket(AF_INET, SOCK_STREAM, 0));
  sockaddr_in address = {};
  address.sin_family = AF_INET;
  address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
  socklen_t size = sizeof address;
  ASSERT_EQ(bind(full.get(), reinterpret_cast<sockaddr *>(&address), size), 0);
  ASSERT_EQ(listen(full.get(), 0), 0);
  getsockname(full.get(), reinterpret_cast<sockaddr *>(&address), &size);
  Plain fills = Plain::connected(ntohs(address.sin_port));
  int32_t error = 0;
  Tags tags = client_tags(ntohs(address.sin_port));
  tags.push_back({Q7A_FILE_CONNECT_TIME, 1});
  tags.push_back({512, arg(&error)});
  const auto start = Clock::now();
  Q7Object *late = Q7ObjectCreateA(Q7C_FILE, list(tags).data());
  EXPECT_LT(std::chrono::duration<double>(Clock::now() - start).count(), 3);
  ASSERT_EQ(late, nullptr);
  EXPECT_EQ(error, 5509);
}

TEST_F(SocketTest, NewConnectionsArePrepared) {
  Plain client = Plain::connected(port_);
  EXPECT_EQ(setdefsockopts(client.get()), 1);
  int on = 0;
  socklen_t size = sizeof on;
  getsockopt(client.get(), IPPROTO_TCP, TCP_NODELAY, &on, &size);
  EXPECT_EQ(on, 1);
  EXPECT_EQ(setdefsockopts(-1), 0);
}

TEST_F(SocketTest, ReopeningOnAFile) {
  const std::string name = path("f");
  write("bye");
  EXPECT_EQ(call(obj(), Q7M_FILE_OPEN, file_tags(name, "w")), 1u);
  EXPECT_EQ(far_.rest(), plain_block("bye"));
  EXPECT_EQ(put(obj(), Q7M_FILE_WRITE_TEXT, "disk"), 1u);
  EXPECT_EQ(flush(), 0u);
  EXPECT_EQ(q7test::read_file(name), "disk");
}

}  // namespace
