#include "kit/model/AnySourceConfig.h"
#include "kit/model/DecodeError.h"
#include "kit/model/Dependencies.h"
#include "kit/model/HostLimits.h"
#include "kit/model/JsonRead.h"
#include "kit/model/SourcesStore.h"
#include "kit/model/WidgetData.h"
#include "support/Files.h"
#include "support/ModelCases.h"
#include "support/TestData.h"

#include <QFile>
#include <QJsonArray>
#include <QJsonDocument>
#include <QSet>
#include <QTemporaryDir>
#include <QTest>

#include <limits>

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

class SourceConfigTest : public QObject
{
    Q_OBJECT

    QTemporaryDir m_dir;

private Q_SLOTS:
    void everyRecordTypeReadsBack()
    {
        for (const DNSRecordType type : allDNSRecordTypes()) {
            const AnySourceConfig config(DNSRecordConfig(QUuid::createUuid(), u"D"_s, u"n"_s, type));
            QCOMPARE(AnySourceConfig::fromJson(config.toJson()), config);
        }
    }

    // Files as this version and earlier ones wrote them: every kind and every field reads and writes
    // back the same, and each kind keeps its place in the enumeration.
    void readsAndWritesFilesTheSame_data()
    {
        QTest::addColumn<QString>("file");
        QTest::addColumn<int>("firstKind");
        QTest::addColumn<int>("count");
        QTest::newRow("an earlier version's kinds") << u"sources-earlier-version.json"_s << 0 << 6;
        QTest::newRow("the kinds added since") << u"model/sources-later-kinds.json"_s << 6 << 3;
        QTest::newRow("every field of every kind") << u"model/sources-every-field.json"_s << 0 << 9;
    }
    void readsAndWritesFilesTheSame()
    {
        QFile source(QStringLiteral(TW_TEST_DATA_DIR "/") + TW_DATA(QString, file));
        QVERIFY(source.open(QIODevice::ReadOnly));
        const QJsonArray entries = QJsonDocument::fromJson(source.readAll()).array();
        QCOMPARE(entries.size(), TW_DATA(int, count));
        int index = TW_DATA(int, firstKind);
        for (const QJsonValue &entry : entries) {
            const AnySourceConfig config = AnySourceConfig::fromJson(entry);
            QCOMPARE(int(config.kind()), index++);
            QCOMPARE(config.toJson(), entry.toObject());
        }
    }

    // Unknown kinds and keys beside known ones are read past; a missing or mistyped key is refused
    // and named.
    void decodesOrRefuses_data() { addCaseRows(u"model/source-decoding.json"_s); }
    void decodesOrRefuses()
    {
        QFETCH(QJsonObject, given);
        const QString error = given[u"error"].toString(); // empty: decodes
        try {
            const AnySourceConfig config = AnySourceConfig::fromJson(given[u"json"].toObject());
            QVERIFY2(error.isEmpty(), "decoded a configuration that must fail");
            QCOMPARE(config.toJson().constBegin().key(), given[u"kind"].toString());
            const std::optional<QUuid> parent = config.common().dependsOn;
            QCOMPARE(parent ? JsonRead::uuidText(*parent) : QString(), given[u"dependsOn"].toString());
            if (given.contains(u"writtenAs"))
                QCOMPARE(config.toJson(), given[u"writtenAs"].toObject());
        } catch (const DecodeError &e) {
            QVERIFY2(!error.isEmpty() && e.text().contains(error), qPrintable(e.text()));
        }
    }

    void clampsIntervalsAtUse_data()
    {
        QTest::addColumn<double>("seconds");
        QTest::addColumn<double>("clamped");
        QTest::newRow("zero") << 0.0 << 5.0;
        QTest::newRow("inside") << 299.5 << 299.5;
        QTest::newRow("a day") << 86400.0 << 3600.0;
        QTest::newRow("NaN") << std::numeric_limits<double>::quiet_NaN() << 60.0;
    }
    void clampsIntervalsAtUse() { QCOMPARE(PollInterval::clamp(TW_DATA(double, seconds)), TW_DATA(double, clamped)); }

    // Sorted keys, indented: a file a user can read and compare.
    void savedFileIsSortedAndPretty()
    {
        const TCPPortConfig tcp(QUuid::fromString(u"6a1f9d2e-8c3b-4f5a-b7e6-0d9c8b7a6f5e"_s), u"ssh"_s, u"nas"_s, 22);
        SourcesStore::save({tcp}, m_dir.path());
        QCOMPARE(contents(SourcesStore::sourcesPath(m_dir.path())),
                 contents(QStringLiteral(TW_TEST_DATA_DIR "/model/sources-saved.json")));
        QCOMPARE(SourcesStore::load(m_dir.path()), QList<AnySourceConfig>{tcp});
    }

    // Each import is a family of its own: new ids, its parents carried over to them, and secret
    // names of its own, so that it never reaches another source's secret.
    void importGivesEachCopyItsOwnIdsAndSecrets()
    {
        KumaConfig kuma(QUuid::createUuid(), u"K"_s, u"http://kuma"_s);
        kuma.passwordRef = u"kuma-shared-by-hand"_s;
        KumaConfig open(QUuid::createUuid(), u"O"_s, u"http://kuma2"_s);
        open.dependsOn = kuma.id;
        BeszelConfig beszel(QUuid::createUuid(), u"B"_s, u"http://beszel"_s, u"beszel-x"_s);
        beszel.dependsOn = open.id;
        const QList<AnySourceConfig> exported{beszel, open, kuma, open};
        const QString path = m_dir.filePath(u"export.json"_s);
        put(path, SourcesStore::encode(exported));

        const QList<AnySourceConfig> first = SourcesStore::importFile(path);
        const QList<AnySourceConfig> second = SourcesStore::importFile(path);
        QCOMPARE(first.size(), 3); // the duplicate id is dropped
        QSet<QUuid> ids;
        QSet<QString> secrets;
        for (const QList<AnySourceConfig> &batch : {first, second, exported}) {
            for (const AnySourceConfig &source : batch) {
                ids.insert(source.id());
                for (const QString &name : source.credentialNames())
                    secrets.insert(name);
            }
        }
        QCOMPARE(ids.size(), 3 + 3 + 3);
        QCOMPARE(secrets.size(), 2 + 2 + 2);
        for (const QList<AnySourceConfig> &batch : {first, second})
            QCOMPARE(parentsText(batch, Dependencies::parents(batch)), u"BO OK"_s);
        QCOMPARE(first[2].as<KumaConfig>()->passwordRef,
                 AnySourceConfig::credentialName(AnySourceConfig::Kind::Kuma, first[2].id()));
        QCOMPARE(first[1].as<KumaConfig>()->passwordRef, std::nullopt); // no secret stays no secret
        QCOMPARE(first[2].as<KumaConfig>()->baseURL, u"http://kuma"_s);
    }

    // A loop written by hand reads as no parent at all (its rules are the tables' below); the
    // sources are kept.
    void loadDropsALoop()
    {
        SourcesStore::save(sourcesOf(u"AB BA"_s), m_dir.path());
        QCOMPARE(SourcesStore::load(m_dir.path()), sourcesOf(u"A B"_s));
    }

    void importRefusesWhatIsNotASourcesFile_data()
    {
        QTest::addColumn<bool>("exists");
        QTest::addColumn<QByteArray>("bytes");
        QTest::addColumn<QString>("message");
        QTest::newRow("missing") << false << QByteArray() << u"Couldn't open"_s;
        QTest::newRow("truncated") << true << QByteArray("[{\"tcpPort\":") << u"is not a Tidewatch sources file"_s;
        QTest::newRow("too large") << true << QByteArray(8 * 1024 * 1024 + 1, ' ') << u"is larger than 8 MiB"_s;
    }
    void importRefusesWhatIsNotASourcesFile()
    {
        QFETCH(QByteArray, bytes);
        QFETCH(QString, message);
        const QString path = m_dir.filePath(u"bad.json"_s);
        QFile::remove(path);
        if (TW_DATA(bool, exists))
            put(path, bytes);
        try {
            SourcesStore::importFile(path);
            QFAIL("imported a bad file");
        } catch (const SourcesStore::ImportError &error) {
            QVERIFY2(error.text().contains(message), qPrintable(error.text()));
        }
    }

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

    // Every case and field reads and writes back the same; unknown keys are read past, and a
    // missing or mistyped one is refused and named.
    void widgetDecodesOrRefuses_data() { addCaseRows(u"model/widget-decoding.json"_s); }
    void widgetDecodesOrRefuses()
    {
        QFETCH(QJsonObject, given);
        const QJsonObject json = given[u"json"].toObject();
        const QString error = given[u"error"].toString(); // empty: decodes
        try {
            const WidgetData widget = WidgetData::fromJson(json);
            QVERIFY2(error.isEmpty(), "decoded a value that must fail");
            if (given[u"writtenBackTheSame"].toBool())
                QCOMPARE(widget.toJson(), json);
            QCOMPARE(WidgetData::fromJson(widget.toJson()), widget);
        } catch (const DecodeError &e) {
            QVERIFY2(!error.isEmpty() && e.text().contains(error), qPrintable(e.text()));
        }
    }

    void derivedReadingsAndKeys_data() { addCaseRows(u"model/widget-readings.json"_s); }
    void derivedReadingsAndKeys()
    {
        QFETCH(QJsonObject, given);
        const WidgetData widget = WidgetData::fromJson(given[u"json"].toObject());
        const QUuid id = QUuid::fromString(u"0f8e1c9a-3b7d-4e2a-9c6b-5d4a3b2c1d0e"_s);
        QCOMPARE(widget.widgetKey(id), u"0F8E1C9A-3B7D-4E2A-9C6B-5D4A3B2C1D0E/"_s + given[u"key"].toString());
        QCOMPARE(toText(widget.status()), given[u"status"].toString());
        const QJsonValue latency = given.value(u"latency");
        QCOMPARE(widget.latencyMs(), latency.isUndefined() ? std::nullopt : std::optional(latency.toDouble()));
    }

    void hostLimitBreaches_data() { addCaseRows(u"model/host-limits.json"_s); }
    void hostLimitBreaches()
    {
        QFETCH(QJsonObject, given);
        const HostLimits limits = HostLimits::read(given[u"limits"].toObject());
        QCOMPARE(limits.breaches(HostStats::fromJson(given[u"host"])), given[u"reasons"].toVariant().toStringList());
    }

    // A broken reading is no breach, whatever the limit.
    void brokenReadingsAreNoHostLimitBreach()
    {
        const double nan = std::numeric_limits<double>::quiet_NaN();
        const double inf = std::numeric_limits<double>::infinity();
        const HostStats host{.status = ServiceStatus::Up, .cpuPct = nan, .diskPct = inf, .temps = {{u"sdb"_s, nan}}};
        QCOMPARE((HostLimits{1, 1, 1, 1}).breaches(host), QStringList());
    }

    // A limit that is off leaves no key behind, and an older file without keys has none on.
    void hostLimitsJson_data()
    {
        QTest::addColumn<QByteArray>("json");
        QTest::addColumn<QByteArray>("written"); // empty: refused
        QTest::newRow("older file, no keys") << QByteArray(R"({"baseURL":"x"})") << QByteArray("{}");
        QTest::newRow("all") << QByteArray(R"({"cpuLimit":1,"memLimit":2,"diskLimit":3,"tempLimit":4})")
                             << QByteArray(R"({"cpuLimit":1,"memLimit":2,"diskLimit":3,"tempLimit":4})");
        QTest::newRow("text is refused") << QByteArray(R"({"diskLimit":"90"})") << QByteArray();
        QTest::newRow("fraction is refused") << QByteArray(R"({"cpuLimit":90.5})") << QByteArray();
    }
    void hostLimitsJson()
    {
        const QJsonObject object = QJsonDocument::fromJson(TW_DATA(QByteArray, json)).object();
        const QByteArray expected = TW_DATA(QByteArray, written);
        if (expected.isEmpty()) {
            QVERIFY_THROWS_EXCEPTION(DecodeError, HostLimits::read(object));
            return;
        }
        QJsonObject written;
        HostLimits::read(object).write(written);
        QCOMPARE(written, QJsonDocument::fromJson(expected).object());
    }
};

QTEST_GUILESS_MAIN(SourceConfigTest)
#include "SourceConfigTest.moc"
