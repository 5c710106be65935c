#pragma once

#include "app/PopoverRows.h"

#include <QAbstractListModel>
#include <QVariantMap>
#include <QtQml/qqmlregistration.h>

namespace tw {

class AppState;
class Preferences;
class Sparklines;

// The popover's rows for QML: one entry per card (a standalone row, or a header with its children).
// Rebuilt from AppState on every change; cards keep their identity, so a poll that changes only
// numbers updates the cards in place and the list does not jump.
class PopoverModel : public QAbstractListModel
{
    Q_OBJECT
    QML_ELEMENT
    QML_UNCREATABLE("The popover's rows come from its controller")
    Q_PROPERTY(int flatRowCount READ flatRowCount NOTIFY flatRowCountChanged)
    // What the user typed to narrow the rows by name; empty shows every row.
    Q_PROPERTY(QString filter READ filter WRITE setFilter NOTIFY filterChanged)

public:
    enum Role {
        GroupIdRole = Qt::UserRole + 1,
        IsGroupRole,
        RowRole, // a map describing the card's first row
        ChildrenRole, // a list of such maps
    };

    // The rows own the sparklines' latencies, gathered whether or not a popover shows them.
    PopoverModel(AppState *state, Preferences *preferences, QObject *parent = nullptr);

    int rowCount(const QModelIndex &parent = {}) const override;
    QVariant data(const QModelIndex &index, int role) const override;
    QHash<int, QByteArray> roleNames() const override;

    // Headers and children counted one by one; the popover scrolls from ten on.
    int flatRowCount() const { return m_flatRowCount; }

    // The description a row view reads: "type", "name", "status", "latencyMs", "history", …
    static QVariantMap describe(const Row &row, const QHash<QString, QList<double>> &latencyHistory);

    Q_INVOKABLE void toggleCollapsed(const QString &sourceId);

    // The card of a source, or -1.
    Q_INVOKABLE int cardOf(const QString &sourceId) const;

    QString filter() const { return m_filter; }
    void setFilter(const QString &text);

    // While no popover shows the rows, a poll only marks them out of date: the tray sits closed
    // nearly all day, and building every card's description for each poll was most of its CPU.
    // Showing them again builds them at once, before the view draws.
    void setShown(bool shown);

Q_SIGNALS:
    void flatRowCountChanged();
    void filterChanged();

private:
    void rebuild();

    AppState *m_state;
    Preferences *m_preferences;
    Sparklines *m_sparklines;
    QList<RowGroup> m_groups;
    QList<QVariantMap> m_rows;
    QList<QVariantList> m_children;
    int m_flatRowCount = 0;
    bool m_shown = true;
    bool m_stale = false;
    QString m_filter;
};

} // namespace tw
