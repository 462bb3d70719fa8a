#pragma once

#include <Foundation/LocalTrust.h>
#include <Network/HttpDatas.h>
#include <Network/Settings.h>

#include <QString>
#include <functional>

namespace parlowen {

/// Makes sure that a session is signed in: with the stored sign-in where the backend still takes it, else, on the local
/// service, whose certificate shows that it is this user's, with an account of its own. Main thread only.
class SessionSignIn {
public:
    /// Called once, with an empty text or a plain sentence on why nobody is signed in.
    using Done = std::function<void(const QString& problem)>;

    SessionSignIn(HttpDatas& http, Settings& settings, LocalTrust trust);

    void run(Done done);
    /// The backend refused the token (HTTP 401); the owner forwards it from the request layer's hook. False when that
    /// did not happen during the sign-in.
    bool tokenRefused();

private:
    void checkToken();
    void useOwnAccount();
    void finish(const QString& problem);

    HttpDatas& http_;
    Settings& settings_;
    LocalTrust trust_;
    Done done_;
};

} // namespace parlowen
