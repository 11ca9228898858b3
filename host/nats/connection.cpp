#include "host/nats/connection.h"

#include <openssl/crypto.h>
#include <pthread.h>

#include <algorithm>
#include <filesystem>
#include <fstream>
#include <mutex>
#include <vector>

#include "host/nats/names.h"
#include "host/shell_word.h"

namespace host::nats {
namespace {

using namespace std::chrono_literals;

// A dead connection is noticed after three of these.
constexpr auto kPing = 2000ms;
constexpr int kUnansweredPings = 2;
constexpr auto kWrite = 2000ms;      // that the server may take nothing
constexpr auto kCloseThreads = 500;  // ms; longer only while others use the library, too
constexpr size_t kMostCredentials = size_t{1} << 16;

std::mutex librariesMutex;
int libraries = 0;

std::vector<std::string> servers(const std::string& url) {
  std::vector<std::string> found;
  for (size_t begin = 0; begin <= url.size();) {
    const size_t end = std::min(url.find(',', begin), url.size());
    const size_t first = url.find_first_not_of(" \t", begin);
    if (first < end)
      found.push_back(url.substr(first, url.find_last_not_of(" \t", end - 1) + 1 - first));
    begin = end + 1;
  }
  return found;
}

std::string lastError() {
  natsStatus status = NATS_OK;
  const char* text = nats_GetLastError(&status);
  return text ? text : "";
}

bool has(const std::string& text, const char* part) { return text.find(part) != std::string::npos; }

// A credentials file is what `nsc` writes, or a line "user:password".  Says what is wrong with it.
std::string useCredentials(natsOptions* options, const std::string& path) {
  std::error_code error;
  const bool ordinary = std::filesystem::is_regular_file(path, error);
  std::ifstream file(ordinary ? path : "", std::ios::binary);
  std::string bytes(kMostCredentials, '\0');
  if (!file || (!file.read(bytes.data(), kMostCredentials) && !file.eof())) {
    return "the credentials file " + path +
           " cannot be read: put it there, make it readable for you, or correct \"credentials\" "
           "in the settings";
  }
  bytes.resize(static_cast<size_t>(file.gcount()));
  natsStatus status = NATS_OK;
  if (has(bytes, "BEGIN NATS USER JWT")) {
    status = natsOptions_SetUserCredentialsFromFiles(options, path.c_str(), nullptr);
  } else {
    const std::string line = bytes.substr(0, bytes.find_first_of("\r\n"));
    const size_t colon = line.find(':');
    if (colon == std::string::npos || colon == 0) {
      return "the credentials file " + path +
             " holds neither NATS credentials nor a line \"user:password\": ask the "
             "administrator of the server for one of them";
    }
    status = natsOptions_SetUserInfo(options, line.substr(0, colon).c_str(),
                                     line.substr(colon + 1).c_str());
  }
  if (status == NATS_OK) return "";
  return "the credentials file " + path + " cannot be used: " + natsStatus_GetText(status);
}

std::string setupCommand(const std::string& group) {
  return "miscdisc notify setup --lobby " + shellWord(lobbyOf(group));
}

std::string connectionTrouble(natsStatus status, const EngineSettings& settings) {
  const std::string server = shownUrl(settings.url);
  const std::string detail = lastError();
  if (status == NATS_CONNECTION_AUTH_FAILED) {
    return server +
           " refuses these credentials: correct \"credentials\" (or the user and password "
           "in \"url\") in the settings, or ask the administrator whether they were withdrawn";
  }
  if (status == NATS_SECURE_CONNECTION_WANTED) {
    return server +
           " does not speak TLS, which \"ca\" or tls:// in the settings asks for: turn on "
           "TLS on the server, or take both out of the settings";
  }
  if (status == NATS_SSL_ERROR && has(detail, "expired")) {
    return "the certificate of " + server + " has expired: have it renewed on the server";
  }
  if (status == NATS_SSL_ERROR && has(detail, "not yet valid")) {
    return "the certificate of " + server +
           " is not valid yet: compare the clocks of both machines";
  }
  if (status == NATS_SSL_ERROR && has(detail, "mismatch")) {
    return "the certificate of " + server +
           " is for another name: use a name in \"url\" that "
           "stands in the certificate, or have the certificate made for this one";
  }
  if (status == NATS_SSL_ERROR && (has(detail, "certificate") || has(detail, "self"))) {
    return "the certificate of " + server +
           " is not signed by anyone trusted here: name the file "
           "of the signing certificate as \"ca\" in the settings (" +
           detail + ")";
  }
  if (status == NATS_NO_SERVER || status == NATS_TIMEOUT || status == NATS_IO_ERROR) {
    return "no answer from " + server +
           ": check \"url\" in the settings, the network, and that "
           "the server runs";
  }
  return "no connection to " + server + ": " + natsStatus_GetText(status) +
         (detail.empty() ? "" : " (" + detail + ")");
}

}  // namespace

Library::Library() {
  sigset_t all;
  sigfillset(&all);
  pthread_sigmask(SIG_SETMASK, &all, &signals_);
  const std::lock_guard lock(librariesMutex);
  if (libraries++ > 0) return;
  // A program may end while a messenger works: what the TLS library cleans up then, our thread
  // would still use.
  OPENSSL_init_crypto(OPENSSL_INIT_NO_ATEXIT, nullptr);
  // Opening makes the process ignore SIGPIPE, which is the application's to decide.
  struct sigaction before = {};
  sigaction(SIGPIPE, nullptr, &before);
  nats_Open(-1);
  sigaction(SIGPIPE, &before, nullptr);
}

Library::~Library() {
  {
    const std::lock_guard lock(librariesMutex);
    nats_ReleaseThreadMemory();
    if (--libraries == 0) nats_CloseAndWait(kCloseThreads);
  }
  // What was sent to this thread in between came from a broken connection.
  const timespec now = {};
  sigset_t pipe;
  sigemptyset(&pipe);
  sigaddset(&pipe, SIGPIPE);
  if (sigismember(&signals_, SIGPIPE) == 0) sigtimedwait(&pipe, nullptr, &now);
  pthread_sigmask(SIG_SETMASK, &signals_, nullptr);
}

Connection connect(const EngineSettings& settings, const std::string& inbox,
                   std::chrono::milliseconds wait, const Listener& listener, std::string& trouble) {
  const std::vector<std::string> urls = servers(settings.url);
  if (urls.empty()) {
    trouble = "no server is configured: set \"url\" in the section [messenger] of the settings";
    return nullptr;
  }
  std::vector<const char*> pointers;
  bool secure = !settings.ca.empty();
  for (const std::string& url : urls) {
    pointers.push_back(url.c_str());
    secure = secure || url.starts_with("tls://");
  }

  natsOptions* made = nullptr;
  if (natsOptions_Create(&made) != NATS_OK) {
    trouble = "there is no memory for a connection";
    return nullptr;
  }
  const Options options(made);
  if (natsOptions_SetServers(made, pointers.data(), static_cast<int>(pointers.size())) != NATS_OK) {
    trouble = "\"url\" in the settings is no address of a server: write it like tls://nas:4222";
    return nullptr;
  }
  const auto each = std::max<std::chrono::milliseconds>(wait / urls.size(), 1ms);
  natsOptions_SetTimeout(made, each.count());
  natsOptions_SetName(made, "miscdisc");
  natsOptions_SetAllowReconnect(made, false);
  natsOptions_SetIgnoreDiscoveredServers(made, true);
  natsOptions_SetPingInterval(made, kPing.count());
  natsOptions_SetMaxPingsOut(made, kUnansweredPings);
  natsOptions_SetWriteDeadline(made, kWrite.count());
  if (!inbox.empty()) natsOptions_SetCustomInboxPrefix(made, inbox.c_str());
  if (listener.closed) natsOptions_SetClosedCB(made, listener.closed, listener.closure);
  if (listener.failed) natsOptions_SetErrorHandler(made, listener.failed, listener.closure);

  if (secure && natsOptions_SetSecure(made, true) != NATS_OK) {
    trouble = "TLS cannot be used here: " + lastError();
    return nullptr;
  }
  if (!settings.ca.empty() &&
      natsOptions_LoadCATrustedCertificates(made, settings.ca.c_str()) != NATS_OK) {
    trouble = "the certificates in " + settings.ca +
              " cannot be read: put them there as PEM, or correct \"ca\" in the settings";
    return nullptr;
  }
  if (!settings.credentials.empty()) {
    trouble = useCredentials(made, settings.credentials);
    if (!trouble.empty()) return nullptr;
  }

  natsConnection* connection = nullptr;
  const natsStatus status = natsConnection_Connect(&connection, made);
  if (status != NATS_OK) {
    trouble = connectionTrouble(status, settings);
    return nullptr;
  }
  return Connection(connection);
}

std::string shownUrl(const std::string& url) {
  std::string shown;
  for (const std::string& server : servers(url)) {
    const size_t scheme = server.find("://");
    const size_t host = scheme == std::string::npos ? 0 : scheme + 3;
    const size_t at = server.rfind('@');
    if (!shown.empty()) shown += ", ";
    shown += server.substr(0, host) +
             server.substr(at == std::string::npos || at < host ? host : at + 1);
  }
  return shown;
}

std::string refusal(natsStatus status, jsErrCode code, const std::string& group) {
  if (code == JSStreamNotFoundErr || status == NATS_NOT_FOUND) {
    return "the server has no stream for the lobby " + group +
           ": an administrator makes it with: " + setupCommand(group) + " --run";
  }
  if (code == JSNotEnabledErr || code == JSNotEnabledForAccountErr ||
      status == NATS_NO_RESPONDERS) {
    return "the server keeps nothing: an administrator turns on JetStream in its configuration, "
           "also for this account";
  }
  if (status == NATS_TIMEOUT) {
    return "the server does not answer for the lobby " + group +
           ": it is overloaded, starting, or grants this user less than "
           "\"" +
           setupCommand(group) + "\" shows";
  }
  const std::string detail = lastError();
  return "the server refuses the lobby " + group + ": " +
         (detail.empty() ? natsStatus_GetText(status) : detail);
}

}  // namespace host::nats
