#pragma once

#include <QObject>
#include <QString>

#include "VyxPlatformExport.h"

class CVyxAccount;

// The host application object that plug-ins ask for their configuration.
class VYX_PLATFORM_EXPORT CTarsionApp : public QObject
{
    Q_OBJECT

public:
    explicit CTarsionApp(QObject* parent = nullptr);
    ~CTarsionApp() override;

    // The one instance of the process, or null before the host made it.
    static CTarsionApp* instance();

    QString getBaseUrl(const QString& defaultValue) const;
    QString getVyxBusinessId() const;
    CVyxAccount* getAccount() const;

    // Host side.
    void setBaseUrl(const QString& url);
    void setVyxBusinessId(const QString& id);
    void setAccount(CVyxAccount* account);
    // Network limits for plug-ins, set as the dynamic properties
    // "maxReplyBytes" and "inactivityTimeoutMs" of this object; a plug-in
    // that knows them may honour them. 0 leaves a property unset.
    void setNetworkLimits(qint64 maxReplyBytes, int inactivityTimeoutMs);

private:
    QString m_baseUrl;
    QString m_businessId;
    CVyxAccount* m_account = nullptr;
};

#define tarsionApp (CTarsionApp::instance())
