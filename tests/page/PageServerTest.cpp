#include <gtest/gtest.h>
#include <tools/page/PageServer.h>

#include <arpa/inet.h>
#include <netinet/in.h>
#include <sys/socket.h>
#include <unistd.h>

#include <array>
#include <atomic>
#include <memory>
#include <stdexcept>
#include <string>
#include <thread>

namespace varno::tool {
namespace {

TrafficRecord speedRecord(std::uint8_t speed) {
  return {.time = 1,
          .direction = Direction::kToDisplay,
          .bytes = {0x02, 0x01, 0x0E, 0x00, 0, 0, 0, 0, 0, 1, speed, 0x03}};
}

// A viewer's connection.
class Viewer {
 public:
  Viewer(const PageServer& page, const std::string& path, const std::string& more = "",
         const std::string& method = "GET") {
    const std::string& address = page.address();
    const std::size_t port = address.find(':', 7) + 1;
    const std::size_t root = address.find('/', port);
    sockaddr_in to{};
    to.sin_family = AF_INET;
    to.sin_port = htons(static_cast<std::uint16_t>(std::stoi(address.substr(port, root - port))));
    to.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    if (::connect(socket_, reinterpret_cast<const sockaddr*>(&to), sizeof to) != 0) {
      throw std::runtime_error("no connection");
    }
    const std::string request =
        method + " " + address.substr(root) + path + " HTTP/1.1\r\nHost: 127.0.0.1\r\n" + more;
    ::send(socket_, request.data(), request.size(), MSG_NOSIGNAL);
  }
  ~Viewer() { ::close(socket_); }
  Viewer(const Viewer&) = delete;
  Viewer& operator=(const Viewer&) = delete;

  // Reads until the text has come, or until the end; tells all that came.
  std::string readUntil(const std::string& text) {
    std::array<char, 4096> bytes{};
    while (all_.find(text) == std::string::npos) {
      const ssize_t got = ::recv(socket_, bytes.data(), bytes.size(), 0);
      if (got <= 0) break;
      all_.append(bytes.data(), static_cast<std::size_t>(got));
    }
    return all_;
  }

 private:
  int socket_ = ::socket(AF_INET, SOCK_STREAM, 0);
  std::string all_;
};

std::string post(const PageServer& page, const std::string& body) {
  Viewer viewer(page, "command",
                "Content-Type: application/json\r\nContent-Length: " + std::to_string(body.size()) +
                    "\r\n\r\n" + body,
                "POST");
  return viewer.readUntil("\n\n");
}

TEST(PageServer, KeepsTheLastRecordsAndGoesOnWhereAViewerWas) {
  PageServer page({.maxRecords = 100});
  for (int count = 0; count < 1000; ++count) page.add(speedRecord('7'));
  std::string id;
  {
    Viewer viewer(page, "events", "\r\n");
    const std::string told = viewer.readUntil("\"n\":1000,");
    EXPECT_NE(told.find("{\"first\":901,\"rows\":[{\"n\":901,"), std::string::npos) << told;
    EXPECT_NE(told.find("Content-Security-Policy: default-src 'none'"), std::string::npos);
    const std::size_t at = told.find("id: ", told.find("event: hello")) + 4;
    id = told.substr(at, told.find('\n', at) - at);
  }
  EXPECT_TRUE(id.ends_with(".1000.0")) << id;
  page.add(speedRecord('8'));
  Viewer viewer(page, "events", "Last-Event-ID: " + id + "\r\n\r\n");
  EXPECT_NE(viewer.readUntil("\"n\":1001,").find("\"rows\":[{\"n\":1001,"), std::string::npos);
  Viewer stranger(page, "events", "Last-Event-ID: 00000000.1000.0\r\n\r\n");
  EXPECT_NE(stranger.readUntil("\"n\":902,").find("\"rows\":[{\"n\":902,"), std::string::npos);
}

TEST(PageServer, TellsWhichRecordChangedWhatTheDriverSees) {
  PageServer page({});
  page.setState({[] { return R"({"speed":{"text":"52"}})"; }}, std::nullopt, 0);
  page.setState({[] { return R"({"speed":{"text":"57"}})"; }}, page.add(speedRecord('7')),
                1'500'000'000);
  Viewer viewer(page, "events", "\r\n");
  const std::string told = viewer.readUntil("\"c\":2,");
  EXPECT_NE(told.find(R"({"state":{"speed":{"text":"57"}},)"), std::string::npos) << told;
  EXPECT_NE(viewer.readUntil(R"("undo":[{"op":"replace","path":"/speed/text","value":"52"}]})")
                .find(R"("n":1,"t":"1.500000000")"),
            std::string::npos);
}

TEST(PageServer, TellsOfLongChangesOnlyTheLast) {
  PageServer page({});
  for (int count = 0; count < 300; ++count) {
    const std::string text(100'000, static_cast<char>('a' + count % 26));
    page.setState({[text] { return R"({"text":")" + text + R"("})"; }, text.size()}, std::nullopt,
                  count);
  }
  Viewer viewer(page, "events", "\r\n");
  const std::string told = viewer.readUntil("\"c\":300,");
  EXPECT_NE(told.find("\"c\":300,"), std::string::npos);
  EXPECT_LT(told.size(), std::size_t{8} << 20);
}

TEST(PageServer, HandsOnCommandsAndTellsHowTheyEnded) {
  std::atomic<int> woken{0};
  PageServer page({.sends = {Direction::kToPhone}, .onCommand = [&] { ++woken; }});
  std::string answer;
  std::thread asking([&] { answer = post(page, R"({"do":"send","line":"UartConnectionEvent"})"); });
  while (woken == 0) std::this_thread::yield();
  const auto command = page.takeCommand();
  ASSERT_TRUE(command);
  EXPECT_EQ(command->kind, PageCommand::Kind::kSend);
  EXPECT_EQ(command->direction, Direction::kToPhone);
  EXPECT_EQ(command->bytes, (std::vector<std::uint8_t>{0x02, 0x7D, 0x7E, 0x01, 0x01, 0x03}));
  command->answer("The link is down.");
  asking.join();
  EXPECT_NE(answer.find(R"({"error":"The link is down."})"), std::string::npos) << answer;
  // These are never handed on.
  EXPECT_NE(post(page, R"({"do":"send","line":"KeepAlvie"})").find("nearest: KeepAlive"),
            std::string::npos);
  EXPECT_NE(post(page, R"({"do":"send","line":"KeepAlive","direction":">"})").find("error"),
            std::string::npos);
  EXPECT_NE(post(page, R"({"do":"hangUp"})").find("error"), std::string::npos);
  EXPECT_FALSE(page.takeCommand());
}

TEST(PageServer, NeitherWaitsForViewersNorForAnswersWhenItEnds) {
  std::atomic<int> woken{0};
  auto page = std::make_unique<PageServer>(
      PageOptions{.sends = {Direction::kToPhone}, .onCommand = [&] { ++woken; }});
  // The HTTP library makes tables with the first request, which the thread sanitizer cannot follow.
  Viewer(*page, "", "\r\n").readUntil("\r\n\r\n");
  Viewer idle(*page, "", "");            // never asks
  Viewer slow(*page, "events", "\r\n");  // never reads
  std::string answer;
  std::thread asking(
      [&] { answer = post(*page, R"({"do":"send","line":"UartConnectionEvent"})"); });
  while (woken == 0) std::this_thread::yield();
  for (int count = 0; count < 20'000; ++count) page->add(speedRecord('7'));
  page.reset();
  asking.join();
  EXPECT_EQ(answer.find("{}"), std::string::npos) << answer;
}

}  // namespace
}  // namespace varno::tool
