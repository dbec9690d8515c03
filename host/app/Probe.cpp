#include "Probe.h"

#include <cstdio>

#include <QApplication>

#include <Vyx/CVyxAccount.h>

#include "CommandLine.h"
#include "HostWindow.h"
#include "PageState.h"

namespace {

void printError(const QString& text)
{
    const QByteArray bytes = (text + QLatin1Char('\n')).toUtf8();
    std::fwrite(bytes.constData(), 1, size_t(bytes.size()), stderr);
}

} // namespace

Probe::Probe(HostWindow& window, CVyxAccount& account, const CommandLine& options,
             Ambrel::ClientCredentials credentials, QObject* parent)
    : QObject(parent)
    , m_window(window)
    , m_account(account)
    , m_options(options)
    , m_credentials(std::move(credentials))
    , m_monitor([&window] { return window.currentPageView(); }, options.printView, options.settleMs)
    , m_steps(options.steps)
{
    connect(&m_account, &CVyxAccount::signInFailed, this, [this](const QString& reason) {
        printError(QStringLiteral("vyx-host: sign-in failed: %1").arg(reason));
        m_signInFailed = true;
        m_monitor.setReady(true);
    });
    connect(&m_account, &CVyxAccount::signedInUserChanged, this, [this] {
        m_signInFailed = false;
        m_monitor.setReady(true);
    });
    connect(&m_monitor, &ViewMonitor::settled, this, &Probe::onSettled);
    m_deadline.setSingleShot(true);
    connect(&m_deadline, &QTimer::timeout, this, [] {
        printError(QStringLiteral("vyx-host: the view did not settle in time"));
        QApplication::exit(NotSettled);
    });
}

bool Probe::wanted(const CommandLine& options)
{
    return options.printView || !options.screenshot.isEmpty();
}

void Probe::start(bool signingIn)
{
    m_monitor.setReady(!signingIn);
    m_monitor.start();
    m_deadline.start(m_options.timeoutMs);
}

int Probe::outcome()
{
    if (m_signInFailed)
        return SignInFailed;
    return ViewMonitor::pageSays(m_window.currentPageView(), Vyx::PageState::kFailed) ? PageFailed : Settled;
}

void Probe::onSettled()
{
    if (!m_steps.isEmpty()) {
        runStep(m_steps.takeFirst());
        return;
    }
    int code = outcome();
    if (!m_options.screenshot.isEmpty() && !m_window.grab().save(m_options.screenshot)) {
        printError(QStringLiteral("vyx-host: cannot write %1").arg(m_options.screenshot));
        code = ScreenshotFailed;
    }
    if (!m_options.stay)
        QApplication::exit(code);
}

void Probe::runStep(const QString& step)
{
    if (m_options.printView) {
        const QByteArray marker = "--- step " + step.toUtf8() + '\n';
        std::fwrite(marker.constData(), 1, size_t(marker.size()), stdout);
        std::fflush(stdout);
    }
    if (step == QLatin1String("refresh")) {
        m_monitor.rearm(true);
        m_window.refreshPage();
    } else if (step == QLatin1String("sign-out")) {
        m_monitor.rearm(true);
        m_account.signOut();
    } else {
        // "sign-in", or "sign-in=ID": another client with the same secret.
        Ambrel::ClientCredentials credentials = m_credentials;
        if (const qsizetype equals = step.indexOf(u'='); equals >= 0)
            credentials.clientId = step.mid(equals + 1);
        m_monitor.rearm(false);
        m_account.signIn(credentials);
    }
}
