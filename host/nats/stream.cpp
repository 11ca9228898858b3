#include "host/nats/stream.h"

#include "host/nats/connection.h"
#include "host/nats/group_stream.h"
#include "host/nats/names.h"

namespace host::nats {
namespace {

using namespace std::chrono_literals;

constexpr auto kConnecting = 3s;
constexpr int64_t kRequest = 3000;  // ms

constexpr int64_t kSecond = 1000000000;    // ns
constexpr int64_t kAge = 3600 * kSecond;   // a machine that is away for longer reads everything
constexpr int64_t kTwice = 600 * kSecond;  // so long a text that is sent again is known
constexpr int64_t kBytes = int64_t{256} << 20;

}  // namespace

std::string makeStream(const EngineSettings& settings, const std::string& group) {
  const Library library;
  std::string why;
  const Connection connection = connect(settings, "", kConnecting, Listener{}, why);
  if (!connection) return why;

  jsOptions options;
  jsOptions_Init(&options);
  options.Wait = kRequest;
  jsCtx* context = nullptr;
  natsStatus status = natsConnection_JetStream(&context, connection.get(), &options);
  const JetStream jetStream(context);
  jsErrCode code = jsErrCode(0);
  if (status != NATS_OK) return refusal(status, code, group);

  jsStreamInfo* found = nullptr;
  status = js_GetStreamInfo(&found, context, streamOf(group).c_str(), nullptr, &code);
  StreamInfo info(found);
  if (status == NATS_OK) return "";
  if (status != NATS_NOT_FOUND) return refusal(status, code, group);

  GroupStream stream(group);
  jsStreamConfig& config = stream.config;
  config.MaxAge = kAge;
  config.MaxBytes = kBytes;
  config.Duplicates = kTwice;
  config.Discard = js_DiscardOld;
  config.Storage = js_FileStorage;
  status = js_AddStream(&found, context, &config, nullptr, &code);
  info.reset(status == NATS_OK ? found : nullptr);
  return status == NATS_OK ? "" : refusal(status, code, group);
}

}  // namespace host::nats
