#pragma once

#include <QByteArrayView>
#include <QString>
#include <string>
#include <vector>

namespace parlowen {

/// Takes an answer stream apart. Each event is one line that ends with a line feed: "data: " and a JSON object whose
/// member "data" is an object whose member "content" is the next piece of the answer. All other lines are skipped, and
/// so are events that cannot be read. The content "@@" marks the end of the answer: lines behind it wait for the next
/// bytes.
class AnswerStreamParser {
public:
    /// Takes the next bytes, cut anywhere, and gives the pieces that they complete, in order.
    std::vector<QString> feed(QByteArrayView bytes);

    /// Whether the end mark has come.
    bool hasEnded() const { return hasEnded_; }

private:
    std::string buffer_;       // bytes not yet cut into lines
    std::size_t searched_ = 0; // how many of them hold no line feed for certain
    bool hasEnded_ = false;
};

} // namespace parlowen
