#pragma once

#include <Foundation/LocalTrust.h>
#include <Foundation/Result.h>
#include <Network/HttpDatas.h>
#include <Network/Settings.h>

#include <functional>

namespace parlowen {

/// Makes sure that a session is signed in: with the stored sign-in where the backend still takes it, else, on the local
/// service, whose certificate shows that it is this user's, with an account of its own. Main thread only.
class SessionSignIn {
public:
    /// Called once, unless this object is gone by then; when nobody is signed in, with a plain sentence on why.
    using Done = std::function<void(const Result<void>&)>;

    SessionSignIn(HttpDatas& http, Settings& settings, LocalTrust trust);

    void run(Done done);
    /// The backend refused the token (HTTP 401); the owner forwards it from the request layer's hook. False when that
    /// did not happen during the sign-in.
    bool tokenRefused();

private:
    void checkToken();
    void useOwnAccount();
    void tellWhy(const QString& base, const QString& reason);
    void finish(const Result<void>& result);

    HttpDatas& http_;
    Settings& settings_;
    LocalTrust trust_;
    Done done_;
    QObject context_; ///< no reply comes once this object is gone
};

} // namespace parlowen
