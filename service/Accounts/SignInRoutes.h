#pragma once

#include "AccountRoutes.h"
#include "CodeDelivery.h"

namespace parlowen::service {

/// How users sign in. A client is told its number.
enum class LoginMethod { Password = 1, Code = 2 };

/// What the sign-in routes need. All that is referred to outlives the server.
struct SignInParts {
    Accounts& accounts;
    HashingQueue& hashing;
    LoginMethod method = LoginMethod::Password;
    CodeDelivery deliver = {}; ///< for sign-in by code
    /// Whether a text is the result of a captcha that was solved; it is good once.
    std::function<bool(const std::string& result)> redeemCaptcha = {};
    /// For a code that is not sent for a limit.
    std::function<void(const std::string& result, const std::string& address)> giveCaptchaBack = {};
    ResumeOfUser resumeOf = {};
    bool createByPassword = false; ///< a first sign-in by password makes an account, where it comes from this machine
};

/// The login method, and sign-in by password and by code. By code, accounts are made by a code alone.
void addSignInRoutes(Router& router, const SignInParts& parts);

} // namespace parlowen::service
