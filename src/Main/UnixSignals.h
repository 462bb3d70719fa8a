#pragma once

#include <QObject>
#include <functional>

class QSocketNotifier;

namespace parlowen {

/// Turns SIGINT, SIGTERM and SIGHUP (unless it is ignored, as under nohup) into a call on the main thread, so that a
/// session is put away before the program ends. One a process.
class UnixSignals : public QObject {
public:
    explicit UnixSignals(std::function<void()> terminate);
    ~UnixSignals() override;

private:
    std::function<void()> terminate_;
    QSocketNotifier* notifier_ = nullptr;
};

} // namespace parlowen
