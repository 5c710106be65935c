#pragma once

#include "kit/games/GameDefinition.h"
#include "kit/transport/HTTPClient.h"

#include <memory>

// The game servers that report over HTTP and JSON: Palworld's REST API, FiveM and RedM's info
// endpoints, TShock's REST interface. The requests of one poll run at once; a partial answer is
// used, unless a server says the credentials are wrong.
namespace tw::RestGames {

// "http" or "https" on the port as given (never swapped for 443). Fails with misconfigured
// 'bad host "x y"' before anything is sent.
QUrl gameURL(bool useTLS, const QString &host, quint16 port, const QString &path, const QString &query = {});

// One body per request, in request order, or nothing where that request failed. A failure the
// user has to repair (a 401 or 403 with a hint) wins over every answer; with no answer at all the
// first failure is thrown.
QCoro::Task<QList<std::optional<QByteArray>>>
fetchAll(QList<HTTPRequest> requests, std::optional<QString> hint, std::shared_ptr<HTTPClient> http, StopToken stop);

QCoro::Task<GameFacts> fetchPalworld(QString host,
                                     quint16 port,
                                     QString password,
                                     bool useTLS,
                                     std::shared_ptr<HTTPClient> http,
                                     StopToken stop);
QCoro::Task<GameFacts> fetchFiveM(QString host,
                                  quint16 port,
                                  std::optional<QString> token,
                                  bool useTLS,
                                  std::shared_ptr<HTTPClient> http,
                                  StopToken stop);
QCoro::Task<GameFacts>
fetchTShock(QString host, quint16 port, bool useTLS, std::shared_ptr<HTTPClient> http, StopToken stop);

} // namespace tw::RestGames
