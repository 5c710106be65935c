#pragma once

#include <QString>
#include <QTextStream>

#include <optional>

// The one way the commands read a secret: one line of standard input. At a terminal the prompt goes
// to `err` and what is typed is not echoed; from a pipe the line is read as it comes.
namespace tw::SecretInput {

// The line without its line break; nothing at end of input or when the bytes are not UTF-8, since a
// mangled secret would be stored and every poll would then fail with a wrong one.
std::optional<QString> readLine(QTextStream &err);

} // namespace tw::SecretInput
