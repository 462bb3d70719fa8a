#pragma once

#include <QProcess>
#include <QString>
#include <QStringList>
#include <QTemporaryFile>

namespace parlowen::testing {

/// Plays a tone into a sink of an audio server for as long as it lives: 440 Hz, a sine of this amplitude (0 to 1), by
/// pacat with these options.
class PlayedTone {
public:
    PlayedTone(const QString& server, const QString& sink, double amplitude = 0.5, const QStringList& options = {});
    ~PlayedTone();
    PlayedTone(const PlayedTone&) = delete;
    PlayedTone& operator=(const PlayedTone&) = delete;

private:
    QTemporaryFile sound_;
    QProcess player_;
};

} // namespace parlowen::testing
