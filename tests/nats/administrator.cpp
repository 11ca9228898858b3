#include "tests/nats/administrator.h"

#include <gtest/gtest.h>

#include <chrono>
#include <thread>

#include "host/nats/group_stream.h"
#include "host/nats/line.h"
#include "host/nats/names.h"

namespace test {

using host::nats::streamOf;
using host::nats::subjectOf;

Administrator::Administrator(const Server& server, const std::string& userAndPassword) {
  natsConnection* connection = nullptr;
  EXPECT_EQ(natsConnection_ConnectTo(&connection, server.url(userAndPassword).c_str()), NATS_OK);
  connection_.reset(connection);
  jsCtx* context = nullptr;
  EXPECT_EQ(natsConnection_JetStream(&context, connection, nullptr), NATS_OK);
  jetStream_.reset(context);
}

void Administrator::makeStream(const std::string& group, const Limits& limits) {
  host::nats::GroupStream stream(group);
  limits(stream.config);
  EXPECT_EQ(js_AddStream(nullptr, jetStream_.get(), &stream.config, nullptr, nullptr), NATS_OK);
}

void Administrator::updateStream(const std::string& group, const Limits& limits) {
  jsStreamInfo* found = nullptr;
  ASSERT_EQ(js_GetStreamInfo(&found, jetStream_.get(), streamOf(group).c_str(), nullptr, nullptr),
            NATS_OK);
  const host::nats::StreamInfo info(found);
  limits(*info->Config);
  EXPECT_EQ(js_UpdateStream(nullptr, jetStream_.get(), info->Config, nullptr, nullptr), NATS_OK);
}

void Administrator::deleteStream(const std::string& group) {
  EXPECT_EQ(js_DeleteStream(jetStream_.get(), streamOf(group).c_str(), nullptr, nullptr), NATS_OK);
}

void Administrator::purge(const std::string& group) {
  EXPECT_EQ(js_PurgeStream(jetStream_.get(), streamOf(group).c_str(), nullptr, nullptr), NATS_OK);
}

void Administrator::publish(const std::string& group, const char* id, const std::string& bytes) {
  natsMsg* made = nullptr;
  EXPECT_EQ(natsMsg_Create(&made, subjectOf(group).c_str(), nullptr, bytes.data(),
                           static_cast<int>(bytes.size())),
            NATS_OK);
  const host::nats::Message message(made);
  if (id) {
    EXPECT_EQ(natsMsgHeader_Set(made, host::nats::kIdHeader, id), NATS_OK);
  }
  EXPECT_EQ(js_PublishMsg(nullptr, jetStream_.get(), made, nullptr, nullptr), NATS_OK);
}

bool Administrator::awaitLast(const std::string& group, uint64_t number) {
  const auto end = std::chrono::steady_clock::now() + std::chrono::minutes(1);
  while (std::chrono::steady_clock::now() < end) {
    jsStreamInfo* found = nullptr;
    js_GetStreamInfo(&found, jetStream_.get(), streamOf(group).c_str(), nullptr, nullptr);
    const host::nats::StreamInfo info(found);
    if (info && info->State.LastSeq >= number) return true;
    std::this_thread::sleep_for(std::chrono::milliseconds(5));
  }
  return false;
}

}  // namespace test
