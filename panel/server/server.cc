#include "panel/server/server.h"

#include <arpa/inet.h>
#include <microhttpd.h>
#include <netinet/in.h>
#include <poll.h>
#include <sys/socket.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cmath>
#include <cstring>
#include <vector>

#include "json/json.h"
#include "live/clock.h"
#include "panel/server/assets.h"
#include "panel/server/connections.h"
#include "panel/server/stream.h"
#include "panel/server/trend_json.h"
#include "runtime/runtime.h"

namespace panel {
namespace {

constexpr char kJson[] = "application/json";
constexpr char kTlsPriorities[] = "NORMAL:-VERS-ALL:+VERS-TLS1.3:+VERS-TLS1.2";
constexpr int kMostAccepted = 64;  // before all others have their turn

constexpr const char* kSafetyHeaders[][2] = {
    {"Content-Security-Policy",
     "default-src 'none'; script-src 'self'; style-src 'self'; img-src 'self' data:; connect-src 'self'; "
     "form-action 'none'; base-uri 'none'; frame-ancestors 'none'"},
    {"X-Content-Type-Options", "nosniff"},
    {"Referrer-Policy", "no-referrer"},
    {"Cross-Origin-Resource-Policy", "same-origin"},
    {"Cache-Control", "no-store"},
};

struct TReply {
  int status = 200;
  const char* type = kJson;
  std::string text;
};

TReply Refused(int status, const std::string& why) {
  return {status, kJson, json::CValue({{"error", runtime::Translated(why)}}).Text()};
}

TReply File(const std::string& name) {
  const TFile* const file = FindFile(name);
  if (file == nullptr) return Refused(404, "there is no such page");
  return {200, MediaType(file->name), std::string(file->content)};
}

std::string AddressOf(MHD_Connection* connection) {
  const MHD_ConnectionInfo* const info = MHD_get_connection_info(connection, MHD_CONNECTION_INFO_CLIENT_ADDRESS);
  char text[INET6_ADDRSTRLEN] = "?";
  if (info == nullptr || info->client_addr == nullptr) return text;
  const sockaddr* const address = info->client_addr;
  if (address->sa_family == AF_INET) {
    inet_ntop(AF_INET, &reinterpret_cast<const sockaddr_in*>(address)->sin_addr, text, sizeof text);
  } else if (address->sa_family == AF_INET6) {
    inet_ntop(AF_INET6, &reinterpret_cast<const sockaddr_in6*>(address)->sin6_addr, text, sizeof text);
  }
  return text;
}

// As the journal names who asks.
std::string Who(bool mayOperate, MHD_Connection* connection) {
  return std::string(mayOperate ? "operate " : "see ") + AddressOf(connection);
}

MHD_Result AddHeader(void* request, MHD_ValueKind, const char* name, const char* value) {
  static_cast<TRequest*>(request)->headers.emplace_back(name, value == nullptr ? "" : value);
  return MHD_YES;
}

void AddHeaders(MHD_Response* response, const char* type) {
  for (const auto& [name, value] : kSafetyHeaders) MHD_add_response_header(response, name, value);
  MHD_add_response_header(response, "Content-Type", type);
}

MHD_Result Queue(MHD_Connection* connection, int status, MHD_Response* response) {
  if (response == nullptr) return MHD_NO;
  const MHD_Result queued = MHD_queue_response(connection, static_cast<unsigned>(status), response);
  MHD_destroy_response(response);
  return queued;
}

MHD_Result Send(MHD_Connection* connection, const TReply& reply) {
  MHD_Response* const response =
      MHD_create_response_from_buffer(reply.text.size(), const_cast<char*>(reply.text.data()), MHD_RESPMEM_MUST_COPY);
  if (response != nullptr) AddHeaders(response, reply.type);
  return Queue(connection, reply.status, response);
}

char* Unchanged(const char* text) { return const_cast<char*>(text); }

}  // namespace

struct CServer::TState {
  TState(const TServing& theServing, CSource& theSource) : serving(theServing), source(theSource), streams(theSource) {}

  const TServing& serving;
  CSource& source;
  CStreams streams;
  CConnected connected;
  MHD_Daemon* daemon = nullptr;
  int events = -1;  // of the daemon

  static MHD_Daemon* StartDaemon(TState* state, const std::optional<TCertificate>& certificate, std::string* error);
  static void* OnTarget(void* opaque, const char* target, MHD_Connection* connection);
  static MHD_Result OnRequest(void* opaque, MHD_Connection* connection, const char* url, const char* method,
                              const char* version, const char* data, std::size_t* size, void** exchange);
  static void OnCompleted(void* opaque, MHD_Connection* connection, void** exchange, MHD_RequestTerminationCode how);
  static void OnConnection(void* opaque, MHD_Connection* connection, void** context,
                           MHD_ConnectionNotificationCode how);
  static TConnected& Of(MHD_Connection* connection);

  MHD_Result Refuse(MHD_Connection* connection, TConnected& asker, const TRefusal& refusal);
  MHD_Result Answer(MHD_Connection* connection, TConnected& asker);
  MHD_Result OpenStream(MHD_Connection* connection, TConnected& asker);
  TReply History(const TAsked& asked);
  TReply Picture(const TAsked& asked);
  TReply Command(TCommand& command, const std::string& who);
  void Accept(int listening);
};

MHD_Daemon* CServer::TState::StartDaemon(TState* state, const std::optional<TCertificate>& certificate,
                                         std::string* error) {
  const auto pointer = [](auto* function) { return reinterpret_cast<std::intptr_t>(function); };
  std::vector<MHD_OptionItem> options = {
      // One that is left is there until the daemon has looked at it.
      {MHD_OPTION_CONNECTION_LIMIT, kMostConnections + 8, nullptr},
      {MHD_OPTION_URI_LOG_CALLBACK, pointer(&OnTarget), state},
      {MHD_OPTION_NOTIFY_COMPLETED, pointer(&OnCompleted), state},
      {MHD_OPTION_NOTIFY_CONNECTION, pointer(&OnConnection), state},
  };
  if (state != nullptr) {
    options.push_back({MHD_OPTION_CONNECTION_TIMEOUT, std::lround(state->serving.stillTime), nullptr});
  }
  unsigned flags = MHD_USE_EPOLL | MHD_USE_NO_LISTEN_SOCKET | MHD_ALLOW_SUSPEND_RESUME;
  if (certificate) {
    flags |= MHD_USE_TLS;
    options.push_back({MHD_OPTION_HTTPS_MEM_CERT, 0, Unchanged(certificate->certificate.c_str())});
    options.push_back({MHD_OPTION_HTTPS_MEM_KEY, 0, Unchanged(certificate->key.c_str())});
    options.push_back({MHD_OPTION_HTTPS_PRIORITIES, 0, Unchanged(kTlsPriorities)});
  }
  options.push_back({MHD_OPTION_END, 0, nullptr});
  MHD_Daemon* const daemon =
      MHD_start_daemon(flags, 0, nullptr, nullptr, &OnRequest, state, MHD_OPTION_ARRAY, options.data(), MHD_OPTION_END);
  if (daemon == nullptr) *error = certificate ? "certificate and key are not one, or no PEM" : "no server can be made";
  return daemon;
}

TConnected& CServer::TState::Of(MHD_Connection* connection) {
  return *static_cast<TConnected*>(
      MHD_get_connection_info(connection, MHD_CONNECTION_INFO_SOCKET_CONTEXT)->socket_context);
}

void CServer::TState::OnConnection(void* opaque, MHD_Connection* connection, void** context,
                                   MHD_ConnectionNotificationCode how) {
  CConnected& connected = static_cast<TState*>(opaque)->connected;
  if (how == MHD_CONNECTION_NOTIFY_STARTED) {
    const int descriptor = MHD_get_connection_info(connection, MHD_CONNECTION_INFO_CONNECTION_FD)->connect_fd;
    *context = connected.Add(descriptor, live::Now());
  } else {
    connected.Remove(static_cast<TConnected*>(*context));
  }
}

void* CServer::TState::OnTarget(void*, const char* target, MHD_Connection* connection) {
  TConnected& asker = Of(connection);
  asker.request = TRequest();
  asker.request.target = target;
  asker.isBegun = asker.isAnswered = false;
  return nullptr;
}

MHD_Result CServer::TState::OnRequest(void* opaque, MHD_Connection* connection, const char*, const char* method,
                                      const char*, const char* data, std::size_t* size, void**) {
  TState& state = *static_cast<TState*>(opaque);
  TConnected& asker = Of(connection);
  TRequest& request = asker.request;
  if (!asker.isBegun) {
    asker.isBegun = true;
    request.method = method;
    MHD_get_connection_values(connection, MHD_HEADER_KIND, &AddHeader, &request);
    // Who is refused sends no body.
    const std::optional<TRefusal> refusal = RefusalOfHead(request, state.serving.gate);
    if (!refusal) return MHD_YES;
    return state.Refuse(connection, asker, *refusal);
  }
  if (*size > 0) {
    request.isTooLong = request.isTooLong || *size > kLongestBody - request.body.size();
    if (!request.isTooLong) request.body.append(data, *size);
    *size = 0;
    return MHD_YES;
  }
  return state.Answer(connection, asker);
}

void CServer::TState::OnCompleted(void*, MHD_Connection* connection, void**, MHD_RequestTerminationCode) {
  TConnected& asker = Of(connection);
  asker.isAnswered = false;
  asker.since = live::Now();
}

MHD_Result CServer::TState::Refuse(MHD_Connection* connection, TConnected& asker, const TRefusal& refusal) {
  asker.isAnswered = true;
  if (!refusal.command.empty()) {
    source.NoteRefused(Who(refusal.mayOperate, connection), refusal.command, refusal.why);
  }
  return Send(connection, Refused(refusal.status, refusal.why));
}

MHD_Result CServer::TState::Answer(MHD_Connection* connection, TConnected& asker) {
  std::variant<TAsked, TRefusal> decided = Decide(asker.request, serving.gate, source.Names());
  if (const auto* const refusal = std::get_if<TRefusal>(&decided)) return Refuse(connection, asker, *refusal);
  asker.isAnswered = true;
  TAsked& asked = std::get<TAsked>(decided);
  switch (asked.what) {
    case TAsked::kStream:
      return OpenStream(connection, asker);
    case TAsked::kFile:
      return Send(connection, File(asked.file));
    case TAsked::kModel:
      return Send(connection, {200, kJson, source.Model(asked.mayOperate)});
    case TAsked::kHistory:
      return Send(connection, History(asked));
    case TAsked::kPicture:
      return Send(connection, Picture(asked));
    case TAsked::kJournal:
      return Send(connection, {200, kJson, source.Journal(asked.before, asked.count)});
    case TAsked::kCommand:
      return Send(connection, Command(asked.command, Who(asked.mayOperate, connection)));
  }
  return MHD_NO;
}

MHD_Result CServer::TState::OpenStream(MHD_Connection* connection, TConnected& asker) {
  if (!source.IsLive()) return Send(connection, Refused(404, "this run has ended: there is no stream of it"));
  if (streams.Count() >= kMostStreams) return Send(connection, Refused(503, "too many are looking on"));
  MHD_Response* const response = streams.Open(connection, live::Now());
  if (response == nullptr) return MHD_NO;
  AddHeaders(response, "text/event-stream");
  asker.isStream = true;
  return Queue(connection, 200, response);
}

TReply CServer::TState::History(const TAsked& asked) {
  for (const std::string& item : asked.items) {
    if (!source.History().Knows(item)) return Refused(404, "there is no " + item);
  }
  TTrend trend;
  std::string error;
  if (!source.History().Read(asked.items, asked.from, asked.to, asked.points, &trend, &error)) {
    return Refused(503, error);
  }
  return {200, kJson, TrendText(asked.items, asked.from, asked.to, trend)};
}

TReply CServer::TState::Picture(const TAsked& asked) {
  TReply reply{200, asked.format == EPicture::kSvg ? "image/svg+xml" : "image/png", {}};
  std::string error;
  if (source.Picture(asked.instrument, asked.format, asked.width, asked.height, &reply.text, &error)) return reply;
  return Refused(404, error);
}

TReply CServer::TState::Command(TCommand& command, const std::string& who) {
  who.copy(command.who, sizeof command.who - 1);
  std::string why;
  switch (source.Submit(&command, &why)) {
    case CSource::ETaken::kTaken:
      return {200, kJson, json::CValue({{"number", command.number}}).Text()};
    case CSource::ETaken::kFull:
      return Refused(429, "the run hasn't taken the commands before yet");
    case CSource::ETaken::kRefused:
      break;
  }
  return Refused(409, why);
}

// --- The server --------------------------------------------------------------------------

std::unique_ptr<CServer> CServer::Start(const TServing& serving, CSource& source, std::string* error) {
  auto state = std::make_unique<TState>(serving, source);
  state->daemon = TState::StartDaemon(state.get(), serving.certificate, error);
  if (state->daemon == nullptr) return nullptr;
  state->events = MHD_get_daemon_info(state->daemon, MHD_DAEMON_INFO_EPOLL_FD)->epoll_fd;
  return std::unique_ptr<CServer>(new CServer(std::move(state)));
}

bool CServer::Check(const TCertificate& certificate, std::string* error) {
  MHD_Daemon* const daemon = TState::StartDaemon(nullptr, certificate, error);
  if (daemon != nullptr) MHD_stop_daemon(daemon);
  return daemon != nullptr;
}

CServer::CServer(std::unique_ptr<TState> theState) : state(std::move(theState)) {}

CServer::~CServer() {
  state->streams.Release();
  MHD_stop_daemon(state->daemon);
}

// All that wait, so that those who have waited for longest are met first.
void CServer::TState::Accept(int listening) {
  for (int count = 0; count < kMostAccepted; ++count) {
    sockaddr_storage address{};
    socklen_t length = sizeof address;
    auto* const any = reinterpret_cast<sockaddr*>(&address);
    const int made = accept4(listening, any, &length, SOCK_CLOEXEC | SOCK_NONBLOCK);
    if (made < 0) return;
    if (connected.Count() >= kMostConnections) {
      connected.LeaveOne();
      MHD_run(daemon);
    }
    MHD_add_connection(daemon, made, any, length);
    MHD_run(daemon);
  }
}

bool CServer::Serve(int watched, double seconds) {
  const double until = live::Now() + seconds;
  std::vector<pollfd> polled = {{watched, 0, 0}, {state->events, POLLIN, 0}};
  for (const int listening : state->serving.listening.descriptors) polled.push_back({listening, POLLIN, 0});
  for (;;) {
    double now = live::Now();
    state->streams.Tell(now);
    state->connected.LeaveSlow(now, state->serving.requestTime);
    MHD_run(state->daemon);
    double pause = std::min(until - now, state->streams.UntilNext(now));
    pause = state->connected.UntilSlow(now, state->serving.requestTime, pause);
    MHD_UNSIGNED_LONG_LONG milliseconds = 0;
    if (MHD_get_timeout(state->daemon, &milliseconds) == MHD_YES) {
      pause = std::min(pause, 1e-3 * static_cast<double>(milliseconds));
    }
    const int found = poll(polled.data(), polled.size(), static_cast<int>(std::ceil(1e3 * std::max(0.0, pause))));
    if (found < 0) return true;
    if (polled[0].revents != 0) return false;
    for (std::size_t i = 2; i < polled.size(); ++i) {
      if (polled[i].revents != 0) state->Accept(polled[i].fd);
    }
    if (live::Now() >= until) return true;
  }
}

}  // namespace panel
