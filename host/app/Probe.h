#pragma once

#include <QObject>
#include <QStringList>
#include <QTimer>

#include <Ambrel/ClientCredentials.h>

#include "ViewMonitor.h"

class CVyxAccount;
class HostWindow;
struct CommandLine;

// vyx-host's exit codes. Listed in --help and in the README; scripts rely
// on them.
enum ExitCode
{
    Settled = 0,
    NoPage = 1,
    BadArguments = 2,
    NotSettled = 3,
    SignInFailed = 4,
    PageFailed = 5,
    ScreenshotFailed = 6,
};

// The host as a headless probe (--print-view, --screenshot): waits for the
// shown page to settle, then runs the --then steps one at a time, each once
// the page has settled again, and ends the application with the outcome of
// the last state: settled, a failed page, a failed sign-in, a screenshot not
// written, or not settled in time.
class Probe : public QObject
{
public:
    Probe(HostWindow& window, CVyxAccount& account, const CommandLine& options,
          Ambrel::ClientCredentials credentials, QObject* parent = nullptr);

    // Whether the options ask for a probe at all.
    static bool wanted(const CommandLine& options);
    // `signingIn`: the page only counts as settled once the sign-in has an
    // outcome.
    void start(bool signingIn);

private:
    void onSettled();
    void runStep(const QString& step);
    int outcome();

    HostWindow& m_window;
    CVyxAccount& m_account;
    const CommandLine& m_options;
    Ambrel::ClientCredentials m_credentials;
    ViewMonitor m_monitor;
    QTimer m_deadline;
    QStringList m_steps;
    bool m_signInFailed = false;
};
