#pragma once

#include "kit/model/AnySourceConfig.h"
#include "kit/model/WidgetData.h"

#include <optional>

// Where a row of the popover can be looked at in a browser.
namespace tw::RowLinks {

// A widget's own page: the address an HTTP check or a Kuma monitor reports, a Beszel host's page on
// its hub, a JSON source's endpoint. Nothing for widgets without one (a game server, a port).
std::optional<QString> widgetPage(const AnySourceConfig &source, const WidgetData &widget);

// A source's web page: Kuma's status page or dashboard, Beszel's hub, the address an HTTP or JSON
// source reads.
std::optional<QString> sourcePage(const AnySourceConfig &source);

} // namespace tw::RowLinks
