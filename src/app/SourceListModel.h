#pragma once

#include <QAbstractListModel>
#include <QVariantMap>
#include <QtQml/qqmlregistration.h>

namespace tw {

// The settings window's sources, one row each, keyed by the source's id. A new list is applied row
// by row (removed, moved, inserted, or changed in place), never as a reset: a row that a drag holds
// survives every poll that lands during the drag.
class SourceListModel : public QAbstractListModel
{
    Q_OBJECT
    QML_ELEMENT
    QML_UNCREATABLE("The settings' source list comes from their controller")
    Q_PROPERTY(int count READ count NOTIFY countChanged)

public:
    // The keys of a row's map, each a role of the same name.
    static const QList<QByteArray> &keys();

    explicit SourceListModel(QObject *parent = nullptr);

    int rowCount(const QModelIndex &parent = {}) const override;
    QVariant data(const QModelIndex &index, int role) const override;
    QHash<int, QByteArray> roleNames() const override;
    int count() const { return int(m_rows.size()); }
    const QList<QVariantMap> &rows() const { return m_rows; }

    // Each map holds the keys above; "id" tells rows apart.
    void setRows(const QList<QVariantMap> &rows);

Q_SIGNALS:
    void countChanged();

private:
    void update(int row, const QVariantMap &next);

    QList<QVariantMap> m_rows;
};

} // namespace tw
