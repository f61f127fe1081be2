#include "tools/page/PageServer.h"

#include "tools/page/CommandReader.h"
#include "tools/page/EventStream.h"
#include "tools/page/HttpServer.h"
#include "tools/page/PageFiles.h"
#include "tools/page/PageHub.h"
#include "tools/page/PageResponses.h"
#include "tools/page/RecordDownload.h"
#include "tools/page/RequestGuard.h"

#include <nlohmann/json.hpp>

#include <charconv>
#include <future>
#include <stdexcept>
#include <thread>
#include <utility>

namespace varno::tool {
namespace {

using Json = nlohmann::ordered_json;
using httplib::Request;
using httplib::Response;

// Besides the viewers, who each hold one: for what the pages load, and for commands.
constexpr std::size_t kSpareConnections = 16;
constexpr std::size_t kMaxCommands = 100;
constexpr std::chrono::seconds kAnswerTime{5};
constexpr std::size_t kMaxToldBytes = std::size_t{32} << 20;

Json directionsJson(const std::vector<Direction>& directions) {
  Json json = Json::array();
  for (const Direction direction : directions) json.push_back(directionText(direction));
  return json;
}

std::string helloJson(const PageOptions& options, const std::string& session) {
  const Json json = {{"session", session},
                     {"title", options.title},
                     {"linkActions", options.linkActions},
                     {"sends", directionsJson(options.sends)},
                     {"faults", directionsJson(options.faults)},
                     {"showsSecrets", options.secrets == Secrets::kShown},
                     {"keeps", options.maxRecords}};
  return json.dump(-1, ' ', false, Json::error_handler_t::replace);
}

void answerFull(Response& response, std::size_t maxViewers) {
  answerProblem(response, 503,
                "As many as may look on do: " + std::to_string(maxViewers) +
                    ". Close one of the pages to see this one.");
}

std::string catalogueJson(const PageOptions& options) {
  return R"({"types":)" + options.types + R"(,"faults":)" + options.faultKinds + "}";
}

}  // namespace

struct PageServer::State {
  explicit State(PageOptions given);

  void handle(const Request& request, Response& response);
  void handleGet(std::string_view path, const Request& request, Response& response);
  void handleEvents(const Request& request, Response& response);
  void handleCommand(const Request& request, Response& response);
  void handleFrame(std::string_view number, Response& response);
  void tellStatus(Json& part, Json now);

  PageOptions options;
  RequestGuard guard;
  std::string catalogue;
  PageHub hub;
  Json links = Json::array();  // these two guarded by the hub's mutex
  Json faults = Json::array();
  HttpServer server;
  std::string address;
  std::thread thread;
};

PageServer::State::State(PageOptions given)
    : options(std::move(given)),
      guard(options.token.empty() ? randomToken() : options.token, options.host),
      catalogue(catalogueJson(options)),
      hub(options),
      server(options.maxViewers + kSpareConnections) {
  if (guard.root().find_first_not_of(
          "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789-_/") !=
          std::string::npos ||
      guard.root().find('/', 1) != guard.root().size() - 1) {
    throw std::runtime_error("the page's token is to be letters, digits, '-' and '_'");
  }
  hub.session = randomToken().substr(0, 8);
  hub.hello = helloJson(options, hub.session);
  server.set_default_headers(safeHeaders());
  // Before httplib reads a body, and instead of its own choice of handlers.
  server.set_pre_routing_handler([this](const Request& request, Response& response) {
    const auto refusal = guard.refuse(headOf(request));
    if (refusal) {
      answer(response, refusal->status, refusal->reason);
    } else if (request.method == "POST") {
      return httplib::Server::HandlerResponse::Unhandled;
    } else {
      handle(request, response);
    }
    return httplib::Server::HandlerResponse::Handled;
  });
  server.Post(".*",
              [this](const Request& request, Response& response) { handle(request, response); });
  const int port = server.bind(options.host, options.port);
  address = "http://" + bracketed(options.host) + ":" + std::to_string(port) + guard.root();
  thread = std::thread([this] { server.serve(); });
}

void PageServer::State::handle(const Request& request, Response& response) {
  const std::string_view path = std::string_view(request.path).substr(guard.root().size());
  if (request.method != "POST") {
    handleGet(path, request, response);
  } else if (path == "command") {
    handleCommand(request, response);
  } else {
    answer(response, 404, "There is no such command.");
  }
}

void PageServer::State::handleGet(std::string_view path, const Request& request,
                                  Response& response) {
  if (path == "events") return handleEvents(request, response);
  if (path == "hello") {  // why a viewer's events broke off
    const std::lock_guard lock(hub.mutex);
    if (hub.viewers < options.maxViewers) return response.set_content(hub.hello, kJsonType);
    return answerFull(response, options.maxViewers);
  }
  if (path.starts_with("frame/")) return handleFrame(path.substr(6), response);
  if (path.starts_with("save/")) return downloadRecords(hub, path.substr(5), options, response);
  if (path == "catalogue") return response.set_content(catalogue, kJsonType);
  const std::string_view name = path.empty() ? "index.html" : path;
  for (const PageFile& file : pageFiles()) {
    if (file.name != name) continue;
    return response.set_content(file.content.data(), file.content.size(), std::string(file.type));
  }
  answer(response, 404, "There is no such page.");
}

void PageServer::State::handleEvents(const Request& request, Response& response) {
  const auto stream = std::make_shared<EventStream>(hub, lastIdOf(request), options.maxViewers);
  if (!stream->hasSeat()) return answerFull(response, options.maxViewers);
  response.set_header("X-Accel-Buffering", "no");
  response.set_chunked_content_provider("text/event-stream",
                                        [stream](std::size_t /*offset*/, httplib::DataSink& sink) {
                                          const auto events = stream->next();
                                          if (events && sink.is_writable())
                                            return sink.write(events->data(), events->size());
                                          return false;
                                        });
}

void PageServer::State::handleFrame(std::string_view number, Response& response) {
  std::uint64_t wanted = 0;
  std::from_chars(number.data(), number.data() + number.size(), wanted);
  RecordRing::Kept kept;
  {
    const std::lock_guard lock(hub.mutex);
    const RecordRing::Kept* const found = hub.ring.find(wanted);
    if (found == nullptr) return answerProblem(response, 404, "This record is not kept any more.");
    kept = *found;
  }
  response.set_content(frameJson(wanted, kept.record, kept.hiddenBytes, options.secrets),
                       kJsonType);
}

void PageServer::State::handleCommand(const Request& request, Response& response) {
  PageCommand command;
  const std::string problem = readCommand(request.body, hub, options, command);
  if (!problem.empty()) return answerProblem(response, 200, problem);
  // The command alone has it: where the command is dropped, the wait below ends.
  auto promise = std::make_shared<std::promise<std::string>>();
  std::future<std::string> answered = promise->get_future();
  command.answer = [given = std::move(promise)](const std::string& text) {
    given->set_value(text);
  };
  {
    const std::lock_guard lock(hub.mutex);
    if (hub.isStopped || hub.commands.size() >= kMaxCommands) {
      return answerProblem(response, 503, "Too many commands at once.");
    }
    hub.commands.push_back(std::move(command));
  }
  if (options.onCommand) options.onCommand();
  if (answered.wait_for(kAnswerTime) != std::future_status::ready) {
    return answerProblem(response, 504, "The program did not answer in time.");
  }
  try {
    const std::string result = answered.get();
    if (!result.empty()) return answerProblem(response, 200, result);
    response.set_content("{}", kJsonType);
  } catch (const std::future_error&) {
    answerProblem(response, 503, "The program ends.");
  }
}

void PageServer::State::tellStatus(Json& part, Json now) {
  if (part == now) return;
  part = std::move(now);
  hub.status = Json({{"links", links}, {"faults", faults}})
                   .dump(-1, ' ', false, Json::error_handler_t::replace);
  ++hub.statusVersion;
  hub.changed.notify_all();
}

PageServer::PageServer(PageOptions options) : state_(std::make_unique<State>(std::move(options))) {}

PageServer::~PageServer() {
  std::deque<PageCommand> commands;
  {
    const std::lock_guard lock(state_->hub.mutex);
    state_->hub.isStopped = true;
    commands.swap(state_->hub.commands);
  }
  commands.clear();
  state_->hub.changed.notify_all();
  state_->hub.stopped.notify_all();
  state_->server.stopAll();
  state_->thread.join();
}

const std::string& PageServer::address() const { return state_->address; }

std::uint64_t PageServer::add(const TrafficRecord& record) {
  PageHub& hub = state_->hub;
  const std::lock_guard adding(hub.addMutex);
  const std::uint64_t number = hub.ring.last() + 1;  // nobody else changes it
  RecordRing::Kept kept{.record = record, .row = {}, .hiddenBytes = {}};
  kept.row = hub.text.row(number, record, kept.hiddenBytes);
  {
    const std::lock_guard lock(hub.mutex);
    hub.ring.add(std::move(kept));
  }
  hub.changed.notify_all();
  return number;
}

void PageServer::setState(SeenState state, std::optional<std::uint64_t> record, std::int64_t time) {
  PageHub& hub = state_->hub;
  const std::lock_guard lock(hub.mutex);
  hub.toldBytes += state.bytes;
  hub.told.push_back({.state = std::move(state), .record = record, .time = time});
  while (hub.told.size() > StateLog::kMaxChanges ||
         (hub.toldBytes > kMaxToldBytes && hub.told.size() > 1)) {
    hub.toldBytes -= hub.told.front().state.bytes;
    hub.told.pop_front();
  }
  hub.changed.notify_all();
}

void PageServer::setLinks(const std::vector<PageLink>& links) {
  Json json = Json::array();
  for (const PageLink& link : links) {
    json.push_back({{"name", link.name},
                    {"address", link.address},
                    {"state", link.state},
                    {"reason", link.reason}});
  }
  const std::lock_guard lock(state_->hub.mutex);
  state_->tellStatus(state_->links, std::move(json));
}

void PageServer::setFaults(const std::vector<std::string>& faults) {
  const std::lock_guard lock(state_->hub.mutex);
  state_->tellStatus(state_->faults, faults);
}

std::optional<PageCommand> PageServer::takeCommand() {
  const std::lock_guard lock(state_->hub.mutex);
  if (state_->hub.commands.empty()) return std::nullopt;
  PageCommand command = std::move(state_->hub.commands.front());
  state_->hub.commands.pop_front();
  return command;
}

}  // namespace varno::tool
