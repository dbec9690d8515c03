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
    // A network limit for plug-ins ("maxReplyBytes", "inactivityTimeoutMs",
    // "exchangeDeadlineMs"...), set as a dynamic property of this object; a
    // plug-in that knows it may honour it. 0 leaves it unset.
    void setNetworkLimit(const char* name, qint64 value);

private:
    QString m_baseUrl;
    QString m_businessId;
    CVyxAccount* m_account = nullptr;
};

#define tarsionApp (CTarsionApp::instance())
