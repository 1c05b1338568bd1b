#pragma once

// One line of Ollama's streamed reply, read by a small strict JSON reader of its own: a reply is
// thousands of such lines, and building a document for each cost more than all the rest of the
// stream together.

#include <QByteArrayView>
#include <QString>

#include <optional>

namespace brindlet {

struct OllamaStreamChunk {
    qsizetype responseLength = 0; // in UTF-16 units, as appended to the text
    bool done = false;
    QString error;
};

// Reads one line and appends its `response` to text, the whole text so far, without a string of
// its own in between. nullopt, with text as it was, unless the line is one valid JSON object in
// which `response` and `error`, when present and not null, are strings and `done` a Boolean.
// Other members are checked and ignored.
std::optional<OllamaStreamChunk> parseOllamaStreamChunk(QByteArrayView line, QString& text);

} // namespace brindlet
