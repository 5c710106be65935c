#include "SourceListModel.h"

#include <QSet>

using namespace Qt::StringLiterals;

namespace tw {

namespace {

QString idOf(const QVariantMap &row)
{
    return row.value(u"id"_s).toString();
}

} // namespace

const QList<QByteArray> &SourceListModel::keys()
{
    static const QList<QByteArray>
        names{"id", "name", "kindLabel", "symbol", "target", "statusColour", "fetchedAt", "alertsEnabled", "widgets"};
    return names;
}

SourceListModel::SourceListModel(QObject *parent)
    : QAbstractListModel(parent)
{ }

int SourceListModel::rowCount(const QModelIndex &parent) const
{
    return parent.isValid() ? 0 : int(m_rows.size());
}

QVariant SourceListModel::data(const QModelIndex &index, int role) const
{
    const int key = role - Qt::UserRole - 1;
    if (!checkIndex(index, CheckIndexOption::IndexIsValid | CheckIndexOption::ParentIsInvalid) || key < 0
        || key >= keys().size())
        return {};
    return m_rows[index.row()].value(QString::fromLatin1(keys()[key]));
}

QHash<int, QByteArray> SourceListModel::roleNames() const
{
    QHash<int, QByteArray> names;
    for (int i = 0; i < keys().size(); ++i)
        names.insert(Qt::UserRole + 1 + i, keys()[i]);
    return names;
}

void SourceListModel::setRows(const QList<QVariantMap> &rows)
{
    const qsizetype before = m_rows.size();
    QSet<QString> wanted;
    for (const QVariantMap &row : rows)
        wanted.insert(idOf(row));
    for (int i = int(m_rows.size()) - 1; i >= 0; --i) {
        if (wanted.contains(idOf(m_rows[i])))
            continue;
        beginRemoveRows({}, i, i);
        m_rows.removeAt(i);
        endRemoveRows();
    }
    // Every row left is wanted, so walking the new list places each one: kept, moved up or new.
    for (int i = 0; i < rows.size(); ++i) {
        const QString id = idOf(rows[i]);
        if (i < m_rows.size() && idOf(m_rows[i]) == id) {
            update(i, rows[i]);
            continue;
        }
        int from = -1;
        for (int j = i + 1; j < m_rows.size() && from < 0; ++j) {
            if (idOf(m_rows[j]) == id)
                from = j;
        }
        if (from >= 0) {
            beginMoveRows({}, from, from, {}, i);
            m_rows.move(from, i);
            endMoveRows();
            update(i, rows[i]);
        } else {
            beginInsertRows({}, i, i);
            m_rows.insert(i, rows[i]);
            endInsertRows();
        }
    }
    if (m_rows.size() != before)
        Q_EMIT countChanged();
}

void SourceListModel::update(int row, const QVariantMap &next)
{
    QList<int> changed;
    for (int i = 0; i < keys().size(); ++i) {
        const QString key = QString::fromLatin1(keys()[i]);
        if (m_rows[row].value(key) != next.value(key))
            changed.append(Qt::UserRole + 1 + i);
    }
    if (changed.isEmpty())
        return;
    m_rows[row] = next;
    Q_EMIT dataChanged(index(row), index(row), changed);
}

} // namespace tw
