#include "kit/model/Dependencies.h"

#include "kit/model/JsonRead.h"
#include "support/ModelCases.h"

#include <QTest>

using namespace tw;
using namespace tw::test;
using namespace Qt::StringLiterals;

namespace {

// Sources named by one letter, each id derived from its name so that rows can name parents.
QUuid idOf(QChar name)
{
    return QUuid::createUuidV5(QUuid(), QString(name));
}

// "AB BC C": A sits behind B, B behind C, C behind nothing. A parent letter that is not a source
// of the row stands for a source that is gone.
QList<AnySourceConfig> sourcesOf(const QString &text)
{
    QList<AnySourceConfig> sources;
    for (const QString &word : text.split(u' ', Qt::SkipEmptyParts)) {
        TCPPortConfig config(idOf(word.at(0)), QString(word.at(0)), u"127.0.0.1"_s, 22);
        if (word.size() > 1)
            config.dependsOn = idOf(word.at(1));
        sources.append(config);
    }
    return sources;
}

// The effective parents in the same notation, sorted: "AB BC".
QString parentsText(const QList<AnySourceConfig> &sources, const Dependencies::Parents &parents)
{
    QStringList words;
    for (const AnySourceConfig &source : sources) {
        const auto parent = parents.constFind(source.id());
        if (parent == parents.cend())
            continue;
        for (const AnySourceConfig &candidate : sources) {
            if (candidate.id() == *parent)
                words.append(source.common().displayName + candidate.common().displayName);
        }
    }
    words.sort();
    return words.join(u' ');
}

} // namespace

class DependenciesTest : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void effectiveParents_data() { addCaseRows(u"model/dependencies-parents.json"_s); }
    void effectiveParents()
    {
        QFETCH(QJsonObject, given);
        const QList<AnySourceConfig> list = sourcesOf(given[u"sources"].toString());
        QCOMPARE(parentsText(list, Dependencies::parents(list)), given[u"parents"].toString());
        // What a file reads as: the same, written into each source.
        const QList<AnySourceConfig> normalized = Dependencies::normalized(list);
        Dependencies::Parents written;
        for (const AnySourceConfig &source : normalized) {
            if (source.common().dependsOn)
                written.insert(source.id(), *source.common().dependsOn);
        }
        QCOMPARE(written, Dependencies::parents(list));
        QCOMPARE(Dependencies::normalized(normalized), normalized);
        QString counts;
        for (const AnySourceConfig &source : list)
            counts += QString::number(Dependencies::countBehind(written, source.id()));
        QCOMPARE(counts, given[u"counts"].toString());
    }

    void causeIsTheFarthestDownAncestor_data()
    {
        QTest::addColumn<QString>("down");
        QTest::addColumn<QString>("expected"); // for A in "AB BC C"; empty for none
        QTest::newRow("only itself down") << u"A"_s << u""_s;
        QTest::newRow("its parent") << u"B"_s << u"B"_s;
        QTest::newRow("its grandparent") << u"C"_s << u"C"_s;
        QTest::newRow("both: the first cause") << u"BC"_s << u"C"_s;
    }
    void causeIsTheFarthestDownAncestor()
    {
        QFETCH(QString, down);
        QFETCH(QString, expected);
        const QList<AnySourceConfig> list = sourcesOf(u"AB BC C"_s);
        const auto cause = Dependencies::cause(Dependencies::parents(list), idOf(u'A'), [&](const QUuid &id) {
            return std::any_of(down.cbegin(), down.cend(), [&](QChar name) { return idOf(name) == id; });
        });
        QCOMPARE(cause, expected.isEmpty() ? std::nullopt : std::optional(idOf(expected.at(0))));
    }

    void refusesWhatWouldCloseALoop_data() { addCaseRows(u"model/dependencies-refusals.json"_s); }
    void refusesWhatWouldCloseALoop()
    {
        QFETCH(QJsonObject, given);
        const QUuid parent = idOf(given[u"parent"].toString().at(0));
        const auto refusal = Dependencies::refusal(sourcesOf(given[u"sources"].toString()),
                                                   idOf(given[u"source"].toString().at(0)),
                                                   parent);
        QCOMPARE(refusal.value_or(QString()),
                 given[u"refusal"].toString().replace(u"{parent}"_s, JsonRead::uuidText(parent)));
    }

    void findsAParentByNameOrId_data()
    {
        QTest::addColumn<QString>("text");
        QTest::addColumn<QString>("expected"); // the letter found, or the error
        QTest::newRow("name, other case") << u"r"_s << u"R"_s;
        QTest::newRow("id in braces, lower case") << idOf(u'R').toString().toLower() << u"R"_s;
        QTest::newRow("unknown name") << u"Q"_s << u"No source is called \"Q\"."_s;
        QTest::newRow("unknown id") << JsonRead::uuidText(idOf(u'Q'))
                                    << u"No source has the id %1."_s.arg(JsonRead::uuidText(idOf(u'Q')));
        QTest::newRow("a shared name") << u"S"_s << u"2 sources are called \"S\"; give the id of the one you mean."_s;
    }
    void findsAParentByNameOrId()
    {
        QFETCH(QString, text);
        QFETCH(QString, expected);
        QList<AnySourceConfig> sources = sourcesOf(u"R S"_s);
        sources.append(TCPPortConfig(QUuid::createUuid(), u"S"_s, u"nas"_s, 22));
        const auto found = Dependencies::find(sources, text);
        if (const auto *id = std::get_if<QUuid>(&found))
            QCOMPARE(*id, idOf(expected.at(0)));
        else
            QCOMPARE(std::get<QString>(found), expected);
    }
};

QTEST_GUILESS_MAIN(DependenciesTest)
#include "DependenciesTest.moc"
