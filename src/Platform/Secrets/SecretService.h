#pragma once

#include <Foundation/SecretKeeper.h>

#include <memory>

namespace parlowen {

/// The Secret Service of the desktop's session bus (freedesktop.org's API, as GNOME's and KDE's keyrings offer it). A
/// locked one asks the user to unlock it.
class SecretService : public SecretKeeper {
public:
    SecretService();
    ~SecretService() override;

    /// One where there is a session bus; null elsewhere. Starts nothing and asks nobody.
    static std::unique_ptr<SecretKeeper> ofThisDesktop();

    Result<std::optional<QString>> secret(const QString& owner) override;
    Result<void> keep(const QString& owner, const QString& secret) override;
    void forget(const QString& owner) override;
    void cancel() override;

private:
    struct Cancellation;
    const std::unique_ptr<Cancellation> cancellation_;
};

} // namespace parlowen
