#pragma once

#include "app/PopoverRows.h"

#include <QAbstractListModel>
#include <QVariantMap>

namespace tw {

class AppState;

// The popover's rows for QML: one entry per card (a standalone row, or a header with its children).
// Rebuilt from AppState on every change; cards keep their identity, so a poll that changes only
// numbers updates the cards in place and the list does not jump.
class PopoverModel : public QAbstractListModel
{
    Q_OBJECT
    Q_PROPERTY(int flatRowCount READ flatRowCount NOTIFY flatRowCountChanged)

public:
    enum Role {
        GroupIdRole = Qt::UserRole + 1,
        IsGroupRole,
        RowRole, // a map describing the card's first row
        ChildrenRole, // a list of such maps
    };

    explicit PopoverModel(AppState *state, QObject *parent = nullptr);

    int rowCount(const QModelIndex &parent = {}) const override;
    QVariant data(const QModelIndex &index, int role) const override;
    QHash<int, QByteArray> roleNames() const override;

    // Headers and children counted one by one; the popover scrolls from ten on.
    int flatRowCount() const { return m_flatRowCount; }

    // The description a row view reads: "type", "name", "status", "latencyMs", "history", …
    static QVariantMap describe(const Row &row, const QHash<QString, QList<double>> &latencyHistory);

    Q_INVOKABLE void toggleCollapsed(const QString &sourceId);

Q_SIGNALS:
    void flatRowCountChanged();

private:
    void rebuild();

    AppState *m_state;
    QList<RowGroup> m_groups;
    QList<QVariantMap> m_rows;
    QList<QVariantList> m_children;
    int m_flatRowCount = 0;
};

} // namespace tw
