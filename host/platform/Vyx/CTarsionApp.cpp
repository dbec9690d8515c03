#include "Vyx/CTarsionApp.h"

#include "Vyx/CVyxAccount.h"

#include <QVariant>

namespace {
CTarsionApp* g_instance = nullptr;
}

CTarsionApp::CTarsionApp(QObject* parent) : QObject(parent)
{
    g_instance = this;
}

CTarsionApp::~CTarsionApp()
{
    if (g_instance == this)
        g_instance = nullptr;
}

CTarsionApp* CTarsionApp::instance()
{
    return g_instance;
}

QString CTarsionApp::getBaseUrl(const QString& defaultValue) const
{
    return m_baseUrl.isEmpty() ? defaultValue : m_baseUrl;
}

QString CTarsionApp::getVyxBusinessId() const
{
    return m_businessId;
}

CVyxAccount* CTarsionApp::getAccount() const
{
    return m_account;
}

void CTarsionApp::setBaseUrl(const QString& url)
{
    m_baseUrl = url;
}

void CTarsionApp::setVyxBusinessId(const QString& id)
{
    m_businessId = id;
}

void CTarsionApp::setAccount(CVyxAccount* account)
{
    m_account = account;
}

void CTarsionApp::setNetworkLimit(const char* name, qint64 value)
{
    setProperty(name, value > 0 ? QVariant(value) : QVariant());
}
