#pragma once

#include "kit/forms/SourceFormState.h"

#include <QStringList>

#include <variant>

// `tidewatch-cli add KIND --name NAME …`: makes one source with the same rules as the application's
// sheet, so a headless user never edits sources.json by hand. A secret comes from standard input.
namespace tw::AddCommand {

QString synopsis();
int run(const QStringList &arguments);

// What the flags ask for, before anything is read from standard input or disk.
struct Request
{
    SourceFormState form;
    bool secretFromStdin = false;
    QString sourcesFile; // empty: the application's own file
    QString credentialsFile; // empty: the desktop's credential store
    QString dependsOn; // the parent as the user named it, by name or id; found once the list is read
    bool operator==(const Request &) const = default;
};

// The request, or the text of a usage error.
std::variant<Request, QString> parse(const QStringList &arguments);
// Why the form cannot be saved yet, or nothing: the sheet's message for a wrong value, else which
// flag is missing.
std::optional<QString> problem(const SourceFormState &form);

} // namespace tw::AddCommand
