#pragma once

#include <QString>
#include <memory>

class QLockFile;

namespace parlowen {

/// Lets the sessions of one user know of each other. Each holds a lock file in the user's runtime directory for as long
/// as it lives; the lock of one that was killed counts for nothing.
class SessionPresence {
public:
    /// Where the directory cannot be written, nobody is seen.
    explicit SessionPresence(const QString& directory = runtimeDirectory());
    ~SessionPresence();

    /// Whether another session was open when this one began.
    bool isSecond() const { return isSecond_; }

    static QString runtimeDirectory();

private:
    std::unique_ptr<QLockFile> own_;
    bool isSecond_ = false;
};

} // namespace parlowen
