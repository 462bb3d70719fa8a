#pragma once

#include "CapturedLog.h"
#include "ScriptedHttpServer.h"
#include "Testing.h"
#include "WaitFor.h"
#include <Foundation/UserDefaults.h>
#include <Network/HttpDatas.h>
#include <Network/Settings.h>
#include <QTemporaryDir>

namespace parlowen::testing {

/// A scripted backend, and settings that name it.
struct BackendFixture : ::testing::Test {
    using Reply = ScriptedHttpServer::Reply;

    BackendFixture() { defaults_.setString("fuwuqi_key", server_.baseUrl()); }

    const ScriptedHttpServer::Request& lastRequest() const { return server_.requests().back(); }
    bool waitForRequests(std::size_t count) const {
        return waitFor([&] { return server_.requests().size() >= count; });
    }

    const CapturedLog log_;
    QTemporaryDir directory_;
    UserDefaults defaults_{directory_.filePath("settings.ini")};
    Settings settings_{defaults_};
    ScriptedHttpServer server_;
};

} // namespace parlowen::testing
