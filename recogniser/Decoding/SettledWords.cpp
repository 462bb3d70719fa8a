#include "SettledWords.h"

#include <algorithm>
#include <numeric>
#include <utility>

namespace parlowen::recogniser {

/// How many words of a hypothesis stand for the settled ones: the beginning that differs least from them.
std::size_t SettledWords::placeOfSettled(const std::vector<Word>& words) const {
    std::vector<std::size_t> row(words.size() + 1); // edits that make the first words of the settled ones
    std::iota(row.begin(), row.end(), std::size_t{0});
    for (const auto& key : settledKeys_) {
        std::size_t diagonal = row.front()++;
        for (std::size_t i = 0; i < words.size(); ++i) {
            const auto replaced = diagonal + (words[i].key == key ? 0 : 1);
            diagonal = row[i + 1];
            row[i + 1] = std::min({replaced, row[i + 1] + 1, row[i] + 1});
        }
    }
    const auto least = *std::min_element(row.begin(), row.end());
    // Of equally good places the one that keeps the count: a changed word is more likely than a missing one.
    const auto usual = std::min(settledKeys_.size(), words.size());
    if (row[usual] == least)
        return usual;
    return static_cast<std::size_t>(std::find(row.rbegin(), row.rend(), least).base() - row.begin()) - 1;
}

/// The newest hypothesis knows best where sentences end, once it holds the same words.
void SettledWords::respell(const std::string& hypothesis, const std::vector<Word>& words, std::size_t count) {
    if (count == 0 || count != settledKeys_.size())
        return;
    for (std::size_t i = 0; i < count; ++i)
        if (words[i].key != settledKeys_[i])
            return;
    settledText_ = hypothesis.substr(0, words[count - 1].end);
}

SettledWords::Shown SettledWords::add(const std::string& hypothesis, bool settles) {
    const auto words = wordsOf(hypothesis);
    const auto from = placeOfSettled(words);
    respell(hypothesis, words, from);
    std::vector<std::string> keys;
    for (std::size_t i = from; i < words.size(); ++i)
        keys.push_back(words[i].key);
    // The last word of a hypothesis may be cut in two by the end of the audio.
    const auto most = settles ? std::min(keys.size() - (keys.empty() ? 0 : 1), previous_.size()) : 0;
    std::size_t agreed = 0;
    while (agreed < most && keys[agreed] == previous_[agreed])
        ++agreed;
    if (agreed > 0) {
        const auto begin = words[from].begin;
        settledText_ =
            joined(settledText_, std::string_view(hypothesis).substr(begin, words[from + agreed - 1].end - begin));
        settledKeys_.insert(settledKeys_.end(), keys.begin(), keys.begin() + static_cast<std::ptrdiff_t>(agreed));
    }
    if (settles)
        previous_.assign(keys.begin() + static_cast<std::ptrdiff_t>(agreed), keys.end());
    const auto rest = from + agreed < words.size() ? std::string_view(hypothesis).substr(words[from + agreed].begin)
                                                   : std::string_view();
    last_ = {joined(settledText_, rest), settledText_.size()};
    return last_;
}

} // namespace parlowen::recogniser
