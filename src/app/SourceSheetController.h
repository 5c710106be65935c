#pragma once

#include "kit/forms/SourceFormState.h"
#include "kit/providers/SourceProvider.h"

#include <QObject>
#include <QUuid>
#include <QVariant>
#include <QtQml/qqmlregistration.h>

#include <chrono>
#include <optional>

namespace tw {

class AppState;

// What the add/edit sheet shows and does, as properties QML binds to. It holds the form's text, and
// runs a test of the source and the save; every rule about the text lives in SourceFormState.
class SourceSheetController : public QObject
{
    Q_OBJECT
    QML_ELEMENT
    QML_UNCREATABLE("The sheet's controller comes from the application")
    Q_PROPERTY(bool editing READ editing NOTIFY modeChanged)
    Q_PROPERTY(bool choosing READ choosing NOTIFY modeChanged)
    Q_PROPERTY(QString kind READ kind NOTIFY modeChanged)
    // The QML component of the chosen kind's fields: "TLSCertificateForm".
    Q_PROPERTY(QString formView READ formView NOTIFY modeChanged)
    Q_PROPERTY(QString header READ header NOTIFY modeChanged)
    Q_PROPERTY(QVariantList kinds READ kinds CONSTANT)
    Q_PROPERTY(QVariantList examples READ examples CONSTANT)

    Q_PROPERTY(QString displayName READ displayName WRITE setDisplayName NOTIFY formChanged)
    Q_PROPERTY(QString baseURL READ baseURL WRITE setBaseURL NOTIFY formChanged)
    Q_PROPERTY(QString host READ host WRITE setHost NOTIFY formChanged)
    Q_PROPERTY(QString port READ port WRITE setPort NOTIFY formChanged)
    Q_PROPERTY(QString gameID READ gameID WRITE setGameID NOTIFY formChanged)
    Q_PROPERTY(QString gameQueryPort READ gameQueryPort WRITE setGameQueryPort NOTIFY formChanged)
    Q_PROPERTY(QString username READ username WRITE setUsername NOTIFY formChanged)
    Q_PROPERTY(QString statusPageSlug READ statusPageSlug WRITE setStatusPageSlug NOTIFY formChanged)
    Q_PROPERTY(QString secret READ secret WRITE setSecret NOTIFY formChanged)
    Q_PROPERTY(QString fieldsText READ fieldsText WRITE setFieldsText NOTIFY formChanged)
    Q_PROPERTY(bool useTLS READ useTLS WRITE setUseTLS NOTIFY formChanged)
    Q_PROPERTY(QString pollSeconds READ pollSeconds WRITE setPollSeconds NOTIFY formChanged)
    Q_PROPERTY(bool alertsEnabled READ alertsEnabled WRITE setAlertsEnabled NOTIFY formChanged)
    Q_PROPERTY(int alertThreshold READ alertThreshold WRITE setAlertThreshold NOTIFY formChanged)
    Q_PROPERTY(QString gameSearch READ gameSearch WRITE setGameSearch NOTIFY formChanged)
    Q_PROPERTY(QString pingCount READ pingCount WRITE setPingCount NOTIFY formChanged)
    Q_PROPERTY(QString recordName READ recordName WRITE setRecordName NOTIFY formChanged)
    Q_PROPERTY(QString recordType READ recordType WRITE setRecordType NOTIFY formChanged)
    Q_PROPERTY(QStringList recordTypes READ recordTypes CONSTANT)
    Q_PROPERTY(QString expectedValue READ expectedValue WRITE setExpectedValue NOTIFY formChanged)
    Q_PROPERTY(QString nameserver READ nameserver WRITE setNameserver NOTIFY formChanged)
    Q_PROPERTY(QString sniName READ sniName WRITE setSniName NOTIFY formChanged)
    Q_PROPERTY(QString warningDays READ warningDays WRITE setWarningDays NOTIFY formChanged)
    Q_PROPERTY(QString cpuLimit READ cpuLimit WRITE setCpuLimit NOTIFY formChanged)
    Q_PROPERTY(QString memLimit READ memLimit WRITE setMemLimit NOTIFY formChanged)
    Q_PROPERTY(QString diskLimit READ diskLimit WRITE setDiskLimit NOTIFY formChanged)
    Q_PROPERTY(QString tempLimit READ tempLimit WRITE setTempLimit NOTIFY formChanged)

    // The sources this one may sit behind, "Nothing" first; those that sit behind it are left out.
    Q_PROPERTY(QStringList parentChoices READ parentChoices NOTIFY modeChanged)
    Q_PROPERTY(int parentIndex READ parentIndex WRITE setParentIndex NOTIFY formChanged)
    Q_PROPERTY(bool hasStoredSecret READ hasStoredSecret NOTIFY formChanged)
    Q_PROPERTY(bool complete READ complete NOTIFY formChanged)
    Q_PROPERTY(QString validationMessage READ validationMessage NOTIFY formChanged)
    Q_PROPERTY(QString urlHint READ urlHint NOTIFY formChanged)
    Q_PROPERTY(QString hostHint READ hostHint NOTIFY formChanged)
    Q_PROPERTY(QString credentialUse READ credentialUse NOTIFY formChanged)
    Q_PROPERTY(bool usesWebAPI READ usesWebAPI NOTIFY formChanged)
    Q_PROPERTY(bool usesQueryPort READ usesQueryPort NOTIFY formChanged)
    Q_PROPERTY(QString setupNote READ setupNote NOTIFY formChanged)
    Q_PROPERTY(QVariantList gameSections READ gameSections NOTIFY formChanged)

    Q_PROPERTY(bool testing READ testing NOTIFY statusChanged)
    Q_PROPERTY(QVariant testPassed READ testPassed NOTIFY statusChanged)
    Q_PROPERTY(QString testText READ testText NOTIFY statusChanged)
    Q_PROPERTY(bool saving READ saving NOTIFY statusChanged)
    Q_PROPERTY(QString saveError READ saveError NOTIFY statusChanged)

public:
    // `makeProvider` builds the provider a test runs once; the poll engine takes no part in it.
    SourceSheetController(AppState *state, ProviderMaker makeProvider, QObject *parent = nullptr);

    // Opens the chooser for a new source.
    void startAdding();
    // Opens the form on an existing source; false when no source has that id.
    bool startEditing(const QUuid &id);

    bool editing() const { return m_editedID.has_value(); }
    bool choosing() const { return !m_form.has_value(); }
    QString kind() const;
    QString formView() const;
    QString header() const;
    static QVariantList kinds();
    static QVariantList examples();

    QString displayName() const { return form().displayName; }
    QString baseURL() const { return form().baseURL; }
    QString host() const { return form().host; }
    QString port() const { return form().port; }
    QString gameID() const { return form().gameID; }
    QString gameQueryPort() const { return form().gameQueryPort; }
    QString username() const { return form().username; }
    QString statusPageSlug() const { return form().statusPageSlug; }
    QString secret() const { return form().secret; }
    QString fieldsText() const { return m_fieldsText; }
    bool useTLS() const { return form().useTLS; }
    QString pollSeconds() const { return form().pollSeconds; }
    bool alertsEnabled() const { return form().alertsEnabled; }
    int alertThreshold() const { return static_cast<int>(form().alertThreshold); }
    QString gameSearch() const { return m_gameSearch; }
    QString pingCount() const { return form().pingCount; }
    QString recordName() const { return form().recordName; }
    QString recordType() const { return form().recordType; }
    static QStringList recordTypes();
    QString expectedValue() const { return form().expectedValue; }
    QString nameserver() const { return form().nameserver; }
    QString sniName() const { return form().sniName; }
    QString warningDays() const { return form().warningDays; }
    QString cpuLimit() const { return form().cpuLimit; }
    QString memLimit() const { return form().memLimit; }
    QString diskLimit() const { return form().diskLimit; }
    QString tempLimit() const { return form().tempLimit; }

    void setDisplayName(const QString &text);
    void setBaseURL(const QString &text);
    void setHost(const QString &text);
    // A port typed by the user: kept from then on through any choice of game.
    void setPort(const QString &text);
    void setGameID(const QString &id);
    void setGameQueryPort(const QString &text);
    void setUsername(const QString &text);
    void setStatusPageSlug(const QString &text);
    void setSecret(const QString &text);
    // The editor's text stays as typed; the form keeps the mappings parsed from it.
    void setFieldsText(const QString &text);
    void setUseTLS(bool on);
    void setPollSeconds(const QString &text);
    void setAlertsEnabled(bool on);
    void setAlertThreshold(int count);
    void setGameSearch(const QString &text);
    void setPingCount(const QString &text);
    void setRecordName(const QString &text);
    void setRecordType(const QString &text);
    void setExpectedValue(const QString &text);
    void setNameserver(const QString &text);
    void setSniName(const QString &text);
    void setWarningDays(const QString &text);
    QStringList parentChoices() const;
    int parentIndex() const;
    void setParentIndex(int index);
    void setCpuLimit(const QString &text);
    void setMemLimit(const QString &text);
    void setDiskLimit(const QString &text);
    void setTempLimit(const QString &text);

    bool hasStoredSecret() const { return form().hasStoredSecret; }
    bool complete() const { return m_form && m_form->isComplete(); }
    QString validationMessage() const;
    QString urlHint() const;
    QString hostHint() const;
    QString credentialUse() const;
    bool usesWebAPI() const;
    bool usesQueryPort() const;
    QString setupNote() const;
    QVariantList gameSections() const;

    bool testing() const { return m_testing; }
    // Null before a test, then whether the last one passed.
    QVariant testPassed() const { return m_testPassed ? QVariant(*m_testPassed) : QVariant(); }
    QString testText() const { return m_testText; }
    bool saving() const { return m_saving; }
    QString saveError() const { return m_saveError; }

    const std::optional<SourceFormState> &formState() const { return m_form; }
    // The edited source's id, when editing.
    std::optional<QUuid> editedID() const { return m_editedID; }
    // Whether anything was typed or chosen in the form since it opened, so that closing it would lose input.
    bool hasChanges() const { return m_form && m_opened && *m_form != *m_opened; }
    // The name the form opened with: the edited source's, or the example's.
    QString openedName() const { return m_opened ? m_opened->displayName : QString(); }

    // The longest a test may take before it is given up as timed out.
    void setTestDeadline(std::chrono::milliseconds deadline) { m_testDeadline = deadline; }

    Q_INVOKABLE void chooseKind(const QString &kind);
    Q_INVOKABLE void chooseExample(const QString &example);
    Q_INVOKABLE void back();
    Q_INVOKABLE void cancel();
    Q_INVOKABLE void testConnection();
    Q_INVOKABLE void save();
    Q_INVOKABLE void dismissSaveError();

Q_SIGNALS:
    void modeChanged();
    void formChanged();
    void statusChanged();
    // The sheet is done: saved or cancelled.
    void finished();
    // A save or a test has run to its end; for callers that wait on one.
    void testFinished();
    void saveFinished();

private:
    QList<AnySourceConfig> possibleParents() const;
    const SourceFormState &form() const;
    template<typename Change>
    void change(Change &&apply);
    void resetStatus();

    AppState *m_state;
    ProviderMaker m_makeProvider;
    std::optional<SourceFormState> m_form;
    std::optional<SourceFormState> m_opened;
    std::optional<QUuid> m_editedID;
    QString m_fieldsText;
    QString m_gameSearch;
    bool m_testing = false;
    std::optional<bool> m_testPassed;
    QString m_testText;
    bool m_saving = false;
    QString m_saveError;
    // Bumped by every change of the form, so a test that finishes late says nothing about it.
    quint64 m_generation = 0;
    std::chrono::milliseconds m_testDeadline{30000};
};

} // namespace tw
