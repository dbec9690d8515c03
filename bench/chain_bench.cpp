// quorvel_chain_bench: the whole chat chain against the emulated service on
// loopback, each figure beside a reference measured in the same run (a bare
// QNetworkAccessManager exchange, or QJsonDocument parsing the same bytes).
//
// The emulator runs as a child process so that this process's event loop,
// CPU time and memory belong to the client alone.
//
// The "ui" section also times the diagnostic view itself, so it runs as a
// QApplication (offscreen unless QT_QPA_PLATFORM says otherwise); the other
// sections alone keep a QCoreApplication, the harness they were first
// measured with, so that their figures stay comparable across versions.
//
//   quorvel_chain_bench [--samples N] [--quick] [--only latency|throughput|ui|large] [--pin]
//
// --pin keeps this process on one CPU and the emulator on another (Linux):
// client and service then never take turns on a core, throughput is bound
// by the client's own work, and figures move a quarter as much from run to
// run on a two-core machine.
//
// Prints Markdown tables on stdout; progress goes to stderr.
#include <algorithm>
#include <chrono>
#include <cstdio>
#include <ctime>
#include <functional>
#include <memory>
#include <vector>

#include <malloc.h>
#include <sched.h>

#include <QApplication>
#include <QCoreApplication>
#include <QEventLoop>
#include <QFile>
#include <QFutureWatcher>
#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <QLabel>
#include <QNetworkAccessManager>
#include <QNetworkProxy>
#include <QNetworkReply>
#include <QPointer>
#include <QProcess>
#include <QSemaphore>
#include <QThread>
#include <QThreadPool>
#include <QTimer>
#include <QtConcurrent/QtConcurrentRun>
#include <QUrlQuery>
#include <QWindow>

#include "EmulatorProcess.h"
#include "chat/ChatService.h"
#include "chat/DutyChannelChatResolver.h"
#include "chat/SdkChain.h"
#include "sdk/api/BusinessEntitiesQueryApi.h"
#include "sdk/qt/IAuthTokenProvider.h"
#include "sdk/qt/QtHttpNetworkService.h"
#include "view/DebugInfoWidget.h"
#include "view/EntityDump.h"
#include "view/FieldLabel.h"

namespace {

using Clock = std::chrono::steady_clock;
using QuorvelChat::Chat;
using QuorvelChat::Result;

constexpr int kWatchdogMs = 30000;
constexpr const char* kBusiness = "demo";

// Byte for byte what the chain sends for the duty channel in EN_US, so that
// the reference exchange costs the emulator the same work.
QByteArray dutyChannelQueryBody()
{
    return QByteArray::fromStdString(
        tarsion::quorvel::api::BusinessEntitiesQueryApi::body(QuorvelChat::dutyChannelQuery("EN_US")));
}

double msSince(Clock::time_point start)
{
    return std::chrono::duration<double, std::milli>(Clock::now() - start).count();
}

// CPU time of the whole process, every thread, in microseconds.
double processCpuUs()
{
    timespec t{};
    clock_gettime(CLOCK_PROCESS_CPUTIME_ID, &t);
    return t.tv_sec * 1e6 + t.tv_nsec / 1e3;
}

double percentile(std::vector<double> values, double p)
{
    if (values.empty())
        return 0;
    std::sort(values.begin(), values.end());
    const auto at = std::size_t(p * double(values.size() - 1) + 0.5);
    return values[std::min(at, values.size() - 1)];
}

double median(std::vector<double> values)
{
    return percentile(std::move(values), 0.5);
}

qint64 procStatusKb(const char* field)
{
    QFile file(QStringLiteral("/proc/self/status"));
    if (!file.open(QIODevice::ReadOnly))
        return -1;
    const QByteArray prefix = QByteArray(field) + ':';
    for (const QByteArray& line : file.readAll().split('\n')) {
        if (line.startsWith(prefix))
            return line.mid(prefix.size()).trimmed().split(' ').value(0).toLongLong();
    }
    return -1;
}

// Peak RSS restarts from the current RSS; freed heap is returned first, so
// the baseline is not inflated by what an earlier round left in malloc's
// arenas.
qint64 resetPeakAndReadRssKb()
{
    malloc_trim(0);
    QFile clear(QStringLiteral("/proc/self/clear_refs"));
    if (clear.open(QIODevice::WriteOnly))
        clear.write("5");
    return procStatusKb("VmRSS");
}

class FixedToken : public QuorvelSdk::IAuthTokenProvider
{
public:
    explicit FixedToken(QByteArray token) : m_token(std::move(token)) {}
    QByteArray accessToken() override { return m_token; }
    QByteArray refreshAccessToken() override { return m_token; }

private:
    QByteArray m_token;
};

// Serves events on this thread until `done` says so or the watchdog fires.
// Blocks between events: a busy loop here would take a core from the
// network and pool threads on a small machine and bias every comparison.
bool spinUntil(const std::function<bool()>& done, int limitMs = kWatchdogMs)
{
    bool expired = false;
    QTimer watchdog;
    watchdog.setSingleShot(true);
    QObject::connect(&watchdog, &QTimer::timeout, [&] { expired = true; });
    watchdog.start(limitMs);
    while (!done() && !expired)
        QCoreApplication::processEvents(QEventLoop::WaitForMoreEvents);
    return done();
}

// The first two CPUs this process may run on, or -1 for each it lacks.
std::pair<int, int> twoCpus()
{
    cpu_set_t allowed;
    CPU_ZERO(&allowed);
    std::pair<int, int> cpus{-1, -1};
    if (sched_getaffinity(0, sizeof allowed, &allowed) != 0)
        return cpus;
    for (int cpu = 0; cpu < CPU_SETSIZE && cpus.second < 0; ++cpu) {
        if (CPU_ISSET(cpu, &allowed))
            (cpus.first < 0 ? cpus.first : cpus.second) = cpu;
    }
    return cpus;
}

bool pinTo(int cpu)
{
    cpu_set_t only;
    CPU_ZERO(&only);
    CPU_SET(cpu, &only);
    return sched_setaffinity(0, sizeof only, &only) == 0;
}

class Emulator
{
public:
    // `cpu` >= 0: the emulator runs on that CPU alone.
    bool start(int cpu)
    {
        m_manager.setProxy(QNetworkProxy::NoProxy);
        // Its request log would otherwise fill a pipe nobody reads.
        m_process.process().setStandardErrorFile(QProcess::nullDevice());
        if (cpu >= 0)
            m_process.process().setChildProcessModifier([cpu] { pinTo(cpu); });
        if (!m_process.start())
            return false;
        m_port = m_process.port();
        const QByteArray tokenReply =
            exchange("POST", QStringLiteral("/oauth/token"),
                     "grant_type=client_credentials&client_id=demo-client&client_secret=demo-secret",
                     "application/x-www-form-urlencoded");
        m_token = QJsonDocument::fromJson(tokenReply).object().value("access_token").toString().toLatin1();
        return !m_token.isEmpty();
    }

    QString baseUrl() const { return QStringLiteral("http://127.0.0.1:%1").arg(m_port); }
    QByteArray token() const { return m_token; }

    QByteArray exchange(const QByteArray& verb, const QString& path, const QByteArray& body = {},
                        const QByteArray& contentType = "application/json")
    {
        QNetworkRequest request(QUrl(baseUrl() + path));
        request.setRawHeader("X-Emulator-Admin-Key", m_process.adminKey());
        request.setHeader(QNetworkRequest::ContentTypeHeader, contentType);
        QNetworkReply* reply = m_manager.sendCustomRequest(request, verb, body);
        spinUntil([reply] { return reply->isFinished(); });
        const QByteArray answer = reply->readAll();
        delete reply;
        return answer;
    }

    // False when the emulator refused the fault, e.g. a kind it does not know.
    bool fault(const QByteArray& json)
    {
        const QByteArray answer = exchange("POST", QStringLiteral("/_emulator/faults"), json);
        return QJsonDocument::fromJson(answer).object().contains(QStringLiteral("queued"));
    }

private:
    QuorvelEmulator::EmulatorProcess m_process{QStringLiteral(QUORVEL_EMULATOR_BIN)};
    QNetworkAccessManager m_manager;
    quint16 m_port = 0;
    QByteArray m_token;
};

// The bare round trip the chain is measured against: same endpoint, body and
// headers, from a manager living on this (the user-interface) thread.
class RawClient
{
public:
    RawClient(const QString& baseUrl, const QByteArray& token)
        : m_request(QUrl(baseUrl + QStringLiteral("/api/business/quorvel/") + QLatin1String(kBusiness)
                         + QStringLiteral("/v0/entities/query/vector?Skip=0&Take=1")))
    {
        m_manager.setProxy(QNetworkProxy::NoProxy);
        m_request.setRawHeader("Content-Type", "application/json");
        m_request.setRawHeader("Authorization", "Bearer " + token);
    }

    // Calls `done` on this thread with the reply body once it has arrived.
    void post(std::function<void(QByteArray)> done)
    {
        QNetworkReply* reply = m_manager.post(m_request, m_body);
        QObject::connect(reply, &QNetworkReply::finished, reply, [reply, done = std::move(done)] {
            done(reply->readAll());
            reply->deleteLater();
        });
    }

private:
    QNetworkAccessManager m_manager;
    QNetworkRequest m_request;
    const QByteArray m_body = dutyChannelQueryBody();
};

// Calls `done` on this thread with the result, the way a page receives it.
void resolveOnUi(QuorvelChat::SdkAdapter& adapter, std::function<void(const Result<Chat>&)> done)
{
    auto* watcher = new QFutureWatcher<Result<Chat>>;
    QObject::connect(watcher, &QFutureWatcherBase::finished, watcher, [watcher, done = std::move(done)] {
        done(watcher->result());
        watcher->deleteLater();
    });
    watcher->setFuture(adapter.resolveChat());
}

// The thread crossings that the chain makes and a raw exchange does not,
// with nothing done in between: user-interface thread -> pool thread ->
// network thread -> pool thread (semaphore) -> user-interface thread (future
// watcher). Raw plus this is the fastest any chain of this shape can be; what
// the chain takes beyond it is its own work.
class HandOffProbe
{
public:
    HandOffProbe()
    {
        m_pool.setMaxThreadCount(4);
        m_pool.setExpiryTimeout(-1);
        m_thread.start();
        m_target.moveToThread(&m_thread);
    }
    ~HandOffProbe()
    {
        m_pool.waitForDone();
        m_thread.quit();
        m_thread.wait();
    }

    void run(std::function<void()> done)
    {
        auto* watcher = new QFutureWatcher<int>;
        QObject::connect(watcher, &QFutureWatcherBase::finished, watcher, [watcher, done = std::move(done)] {
            done();
            watcher->deleteLater();
        });
        QObject* target = &m_target;
        watcher->setFuture(QtConcurrent::run(&m_pool, [target] {
            QSemaphore answered;
            QMetaObject::invokeMethod(
                target, [&answered] { answered.release(); }, Qt::QueuedConnection);
            answered.acquire();
            return 0;
        }));
    }

private:
    QThreadPool m_pool;
    QThread m_thread;
    QObject m_target;
};

struct Bench
{
    Emulator& emulator;
    QuorvelChat::SdkAdapter& adapter;
    RawClient& raw;
    HandOffProbe& handOffs;
    int failures = 0;
    QString firstFailure; // a chain's first error, to tell why the figures are void
    // A page's adapter keeps one resolution: a new one cancels the one
    // before. Requests in flight at once therefore come from as many chains
    // over the one network service, each with a pool of one thread, made
    // when first needed.
    std::function<std::unique_ptr<QuorvelChat::SdkAdapter>()> makeLane;
    std::vector<std::unique_ptr<QuorvelChat::SdkAdapter>> lanes;

    double handOffsOnce()
    {
        bool finished = false;
        double elapsed = 0;
        const auto start = Clock::now();
        handOffs.run([&] {
            elapsed = msSince(start);
            finished = true;
        });
        if (!spinUntil([&] { return finished; }))
            ++failures;
        return elapsed;
    }

    double chainOnce()
    {
        bool finished = false;
        double elapsed = 0;
        const auto start = Clock::now();
        resolveOnUi(adapter, [&](const Result<Chat>& result) {
            elapsed = msSince(start);
            finished = true;
            if (!result.hasValue())
                ++failures;
        });
        if (!spinUntil([&] { return finished; }))
            ++failures;
        return elapsed;
    }

    double rawOnce(QByteArray* body = nullptr)
    {
        bool finished = false;
        double elapsed = 0;
        const auto start = Clock::now();
        raw.post([&](QByteArray reply) {
            elapsed = msSince(start);
            finished = true;
            if (reply.isEmpty())
                ++failures;
            if (body)
                *body = std::move(reply);
        });
        if (!spinUntil([&] { return finished; }))
            ++failures;
        return elapsed;
    }

    // Keeps `parallel` requests in flight until `total` have completed;
    // returns completions per second, and in `cpuUsPerOp` this process's CPU
    // time (every thread) per completion.
    double throughput(bool chain, int parallel, int total, double* cpuUsPerOp = nullptr)
    {
        while (chain && lanes.size() < static_cast<std::size_t>(parallel))
            lanes.push_back(makeLane());
        const double cpuStart = processCpuUs();
        int started = 0;
        int completed = 0;
        std::function<void(int)> launch;
        launch = [&](int lane) {
            ++started;
            auto finish = [&, lane] {
                ++completed;
                if (started < total)
                    launch(lane);
            };
            if (chain)
                resolveOnUi(*lanes[static_cast<std::size_t>(lane)], [&, finish](const Result<Chat>& r) {
                    if (!r.hasValue() && failures++ == 0)
                        firstFailure = r.error().message;
                    finish();
                });
            else
                raw.post([&, finish](QByteArray reply) {
                    if (reply.isEmpty())
                        ++failures;
                    finish();
                });
        };
        const auto start = Clock::now();
        for (int i = 0; i < parallel && started < total; ++i)
            launch(i);
        if (!spinUntil([&] { return completed == total; }, 120000))
            ++failures;
        if (cpuUsPerOp)
            *cpuUsPerOp = (processCpuUs() - cpuStart) / completed;
        return completed / (msSince(start) / 1000.0);
    }
};

// The longest wait between two ticks of a 1 ms timer on this thread while
// `work` runs here.
double longestTickGap(const std::function<void()>& work)
{
    QTimer timer;
    timer.setTimerType(Qt::PreciseTimer);
    timer.setInterval(1);
    auto last = Clock::now();
    double longest = 0;
    QObject::connect(&timer, &QTimer::timeout, [&] {
        const auto now = Clock::now();
        longest = std::max(longest, std::chrono::duration<double, std::milli>(now - last).count());
        last = now;
    });
    timer.start();
    last = Clock::now();
    work();
    const double tail = msSince(last);
    timer.stop();
    return std::max(longest, tail);
}

const char* verdict(bool met)
{
    return met ? "**met**" : "**not met**";
}

// One refresh of the diagnostic view as the user sees it: from refresh()
// until the status has left "Resolving…" and the new texts have been laid
// out and painted.
struct ViewRefresh
{
    double longestGapMs = 0;
    double shownMs = 0;
    bool settled = false;
};

class ViewProbe
{
public:
    explicit ViewProbe(QuorvelChat::DebugInfoWidget& widget) : m_widget(widget) {}

    // Shows the widget and refreshes it once untimed, so that no row pays
    // for the first font lookup or the window's creation.
    bool prepare()
    {
        m_widget.resize(900, 700);
        m_widget.show();
        if (!spinUntil([&] { return m_widget.windowHandle() && m_widget.windowHandle()->isExposed(); },
                       10000))
            return false;
        m_widget.refresh();
        // The status label is found by what refresh() puts in it: the view
        // does not expose its labels.
        const QString resolving = QString::fromUtf8("Resolving duty channel…");
        for (QLabel* label : m_widget.findChildren<QLabel*>()) {
            if (label->text() == resolving)
                m_status = label;
        }
        if (!m_status)
            return false;
        m_resolving = m_status->text();
        return settle();
    }

    ViewRefresh refreshOnce()
    {
        ViewRefresh result;
        const auto start = Clock::now();
        result.longestGapMs = longestTickGap([&] {
            m_widget.refresh();
            result.settled = settle();
            result.shownMs = msSince(start);
        });
        return result;
    }

    QString status() const { return m_status ? m_status->text() : QString(); }

    // Characters of the longest field as the service sent it, i.e. before
    // the view cut it: shows that the hostile text did reach the view.
    qsizetype longestFieldReceived() const
    {
        qsizetype longest = 0;
        for (QLabel* label : m_widget.findChildren<QLabel*>()) {
            if (const auto* field = dynamic_cast<const QuorvelChat::FieldLabel*>(label))
                longest = std::max(longest, field->fullText().size());
        }
        return longest;
    }

private:
    // Waits for the result, then makes the layout and the paint of the new
    // texts happen now, inside the caller's window, rather than on some
    // later turn of the loop that nobody times.
    bool settle()
    {
        const bool changed = spinUntil([&] { return m_status && m_status->text() != m_resolving; });
        QCoreApplication::sendPostedEvents(nullptr, QEvent::LayoutRequest);
        m_widget.repaint();
        QCoreApplication::processEvents();
        return changed;
    }

    QuorvelChat::DebugInfoWidget& m_widget;
    QPointer<QLabel> m_status;
    QString m_resolving;
};

} // namespace

int main(int argc, char** argv)
{
    QStringList args;
    for (int i = 0; i < argc; ++i)
        args.append(QString::fromLocal8Bit(argv[i]));
    const bool quick = args.contains(QStringLiteral("--quick"));
    int samples = quick ? 200 : 1000;
    if (const qsizetype at = args.indexOf(QStringLiteral("--samples")); at >= 0 && at + 1 < args.size())
        samples = args.at(at + 1).toInt();
    // One section alone, for a profiler run.
    QString only;
    if (const qsizetype at = args.indexOf(QStringLiteral("--only")); at >= 0 && at + 1 < args.size())
        only = args.at(at + 1);
    const auto wanted = [&](const char* section) { return only.isEmpty() || only == QLatin1String(section); };
    // Before any thread starts, so that every thread of this process stays
    // on the first CPU.
    const auto [clientCpu, emulatorCpu] = twoCpus();
    const bool pinned = args.contains(QStringLiteral("--pin"));
    if (pinned && (emulatorCpu < 0 || !pinTo(clientCpu))) {
        std::fprintf(stderr, "quorvel_chain_bench: --pin needs two CPUs this process may use\n");
        return 2;
    }

    // A widget needs a QApplication, and a headless run needs a platform
    // that draws into memory.
    std::unique_ptr<QCoreApplication> app;
    if (wanted("ui")) {
        if (qEnvironmentVariableIsEmpty("QT_QPA_PLATFORM"))
            qputenv("QT_QPA_PLATFORM", "offscreen");
        app = std::make_unique<QApplication>(argc, argv);
    } else {
        app = std::make_unique<QCoreApplication>(argc, argv);
    }

    Emulator emulator;
    if (!emulator.start(pinned ? emulatorCpu : -1)) {
        std::fprintf(stderr, "quorvel_chain_bench: the emulator did not start or issued no token\n");
        return 1;
    }

    // Construction cost of the chain, the part of start-up that runs when
    // an identity is set.
    const qint64 rssBeforeChainKb = resetPeakAndReadRssKb();
    const auto chainBuildStart = Clock::now();
    QuorvelSdk::QtHttpNetworkService network;
    // The large-reply section sends replies of several megabytes: beyond
    // the plug-in's default cap, which keeps a host's memory bounded.
    QuorvelSdk::HttpLimits limits;
    limits.maxReplyBytes = 64LL * 1024 * 1024;
    network.setLimits(limits);
    FixedToken tokenProvider(emulator.token());
    QuorvelChat::SdkChainSettings settings;
    settings.networkService = &network;
    settings.tokenProvider = &tokenProvider;
    settings.baseUrl = emulator.baseUrl();
    settings.businessId = QString::fromLatin1(kBusiness);
    settings.adapterThreads = 4;
    settings.dumpEntity = &QuorvelChat::dumpEntity;
    auto adapter = QuorvelChat::buildSdkChain(settings);
    const double chainBuildMs = msSince(chainBuildStart);
    const qint64 rssAfterChainKb = procStatusKb("VmRSS");
    if (!adapter) {
        std::fprintf(stderr, "quorvel_chain_bench: no chain\n");
        return 1;
    }
    RawClient raw(emulator.baseUrl(), emulator.token());
    HandOffProbe handOffs;
    auto makeLane = [&settings] {
        QuorvelChat::SdkChainSettings lane = settings;
        lane.adapterThreads = 1;
        return QuorvelChat::buildSdkChain(lane);
    };
    Bench bench{emulator, *adapter, raw, handOffs, 0, {}, makeLane, {}};

    std::printf("# quorvel_chain_bench\n\n");
    std::printf("samples %d, adapter threads 4, emulator in a child process on 127.0.0.1\n", samples);
    if (pinned)
        std::printf("pinned: this process on CPU %d, the emulator on CPU %d\n", clientCpu, emulatorCpu);
    std::printf("\n");

    // --- Resolution latency, alternating so that drift hits both alike.
    if (wanted("latency")) {
        std::fprintf(stderr, "latency...\n");
        for (int i = 0; i < 50; ++i) {
            bench.chainOnce();
            bench.rawOnce();
            bench.handOffsOnce();
        }
        std::vector<double> chainMs, rawMs, handOffMs;
        for (int i = 0; i < samples; ++i) {
            chainMs.push_back(bench.chainOnce());
            rawMs.push_back(bench.rawOnce());
            handOffMs.push_back(bench.handOffsOnce());
        }
        const double chainMed = median(chainMs), rawMed = median(rawMs), handOffMed = median(handOffMs);
        const double chainP99 = percentile(chainMs, 0.99), rawP99 = percentile(rawMs, 0.99);
        std::printf("## Resolution latency (%d each, ms)\n\n", samples);
        std::printf("| | median | p99 |\n|---|---:|---:|\n");
        std::printf("| resolveChat() to the UI thread | %.3f | %.3f |\n", chainMed, chainP99);
        std::printf("| raw QNetworkAccessManager POST | %.3f | %.3f |\n", rawMed, rawP99);
        std::printf("| ratio | %.2f× | %.2f× |\n", chainMed / rawMed, chainP99 / rawP99);
        std::printf("| the chain's four extra thread hand-offs alone | %.3f | %.3f |\n", handOffMed,
                    percentile(handOffMs, 0.99));
        std::printf("| chain / (raw + hand-offs) | %.2f× | |\n\n", chainMed / (rawMed + handOffMed));
        std::printf("Goal median ≤ 1.15×: %s\n\n", verdict(chainMed / rawMed <= 1.15));
    }

    // --- Concurrency.
    if (wanted("throughput")) {
        std::fprintf(stderr, "throughput...\n");
        std::printf("## Throughput (resolutions per second)\n\n");
        std::printf("| in flight | chain | raw | chain/raw | client CPU µs per op, chain | raw |\n"
                    "|---:|---:|---:|---:|---:|---:|\n");
        double ratioAt4 = 0;
        for (const int parallel : {4, 16, 64}) {
            const int total = std::max(quick ? 200 : 800, parallel * 10);
            // Best of three, alternating: both sides get their least disturbed
            // run on a shared machine.
            double chainRate = 0, rawRate = 0, chainCpu = 0, rawCpu = 0;
            for (int round = 0; round < (quick ? 1 : 3); ++round) {
                double cpu = 0;
                if (const double rate = bench.throughput(true, parallel, total, &cpu); rate > chainRate) {
                    chainRate = rate;
                    chainCpu = cpu;
                }
                if (const double rate = bench.throughput(false, parallel, total, &cpu); rate > rawRate) {
                    rawRate = rate;
                    rawCpu = cpu;
                }
            }
            if (parallel == 4)
                ratioAt4 = chainRate / rawRate;
            std::printf("| %d | %.0f | %.0f | %.0f%% | %.0f | %.0f |\n", parallel, chainRate, rawRate,
                        100 * chainRate / rawRate, chainCpu, rawCpu);
        }
        std::printf("\nGoal ≥ 80%% of raw at 4: %s\n\n", verdict(ratioAt4 >= 0.8));
    }

    // --- The user-interface thread while 64 resolutions run.
    if (wanted("ui")) {
        std::fprintf(stderr, "ui ticks...\n");
        const int stallTotal = quick ? 256 : 640;
        const double idleGap = longestTickGap([] {
            const auto start = Clock::now();
            spinUntil([&] { return msSince(start) > 500; });
        });
        const double chainGap = longestTickGap([&] { bench.throughput(true, 64, stallTotal); });
        const double rawGap = longestTickGap([&] { bench.throughput(false, 64, stallTotal); });
        std::printf("## Longest gap between 1 ms ticks on the UI thread (ms)\n\n");
        std::printf("| while | longest gap |\n|---|---:|\n");
        std::printf("| idle, 500 ms | %.2f |\n", idleGap);
        std::printf("| %d resolutions, 64 in flight | %.2f |\n", stallTotal, chainGap);
        std::printf("| %d raw POSTs, 64 in flight | %.2f |\n\n", stallTotal, rawGap);
        std::printf("Goal < 16 ms: %s\n\n", verdict(chainGap < 16));

        // The diagnostic view, a real widget on screen, showing what the
        // service sent: the ordinary reply, and texts large enough to have
        // frozen the view for seconds to minutes when it laid them out whole.
        std::fprintf(stderr, "ui ticks, the view...\n");
        QuorvelChat::ChatService service;
        // The 1 MB title comes in a reply beyond the plug-in's default cap,
        // which would show a refusal instead of the title.
        service.networkService()->setLimits(limits);
        QuorvelChat::SdkChainSettings viewSettings = settings;
        viewSettings.networkService = service.networkService();
        service.setAdapter(QuorvelChat::buildSdkChain(viewSettings));
        QuorvelChat::DebugInfoWidget widget(&service);
        ViewProbe view(widget);
        struct Row
        {
            const char* shows;
            QByteArray fault;
            QString expectedStatus;
            std::vector<double> gaps{}, shown{};
            qsizetype received = 0;
            bool refused = false;
        };
        std::vector<Row> rows;
        rows.push_back({"the demo chat", {}, QStringLiteral("Chat resolved.")});
        rows.push_back({"a 1 MB title, no spaces", R"({"kind":"title","body":"A","bytes":1048576})",
                        QStringLiteral("Chat resolved.")});
        rows.push_back({"a 10 MB error body (HTTP 500)",
                        R"({"kind":"status","status":500,"body":"x","bytes":10000000})",
                        QStringLiteral("Resolve failed")});
        const int viewReps = quick ? 3 : 5;
        if (!view.prepare()) {
            std::fprintf(stderr, "quorvel_chain_bench: the view did not show or did not settle\n");
            ++bench.failures;
        } else {
            // Rows alternate, so that drift on the machine hits them alike.
            for (int r = 0; r < viewReps; ++r) {
                for (Row& row : rows) {
                    if (row.refused)
                        continue;
                    if (!row.fault.isEmpty() && !emulator.fault(row.fault)) {
                        std::fprintf(stderr, "quorvel_chain_bench: the emulator refused %s\n",
                                     row.fault.constData());
                        row.refused = true;
                        ++bench.failures;
                        continue;
                    }
                    const ViewRefresh refresh = view.refreshOnce();
                    if (!refresh.settled || !view.status().startsWith(row.expectedStatus)) {
                        std::fprintf(stderr, "quorvel_chain_bench: %s: the view says \"%s\"\n", row.shows,
                                     qPrintable(view.status().left(200)));
                        ++bench.failures;
                    }
                    row.gaps.push_back(refresh.longestGapMs);
                    row.shown.push_back(refresh.shownMs);
                    row.received = std::max(row.received, view.longestFieldReceived());
                }
            }
        }
        std::printf("## Longest gap between 1 ms ticks on the UI thread while the diagnostic view refreshes "
                    "(ms)\n\n");
        std::printf("%d refreshes each, rows alternating; from refresh() until the result is laid out and "
                    "painted.\n\n",
                    viewReps);
        std::printf("| the view shows | longest gap, median | max | refresh to painted, median | "
                    "longest field received (chars) | goal < 50 ms |\n|---|---:|---:|---:|---:|---|\n");
        for (const Row& row : rows) {
            if (row.gaps.empty()) {
                std::printf("| %s | n/a | n/a | n/a | n/a | %s |\n", row.shows, verdict(false));
                continue;
            }
            const double worst = *std::max_element(row.gaps.begin(), row.gaps.end());
            std::printf("| %s | %.2f | %.2f | %.2f | %lld | %s |\n", row.shows, median(row.gaps), worst,
                        median(row.shown), static_cast<long long>(row.received), verdict(worst < 50));
        }
        std::printf("\nThe goal is judged on the worst refresh of each row.\n\n");
    }

    // --- Large replies.
    if (wanted("large")) {
        std::fprintf(stderr, "large replies...\n");
        std::printf("## Large replies (query_vector with N entities)\n\n");
        std::printf("| entities | reply bytes | chain e2e ms | raw fetch ms | QJsonDocument parse ms | "
                    "chain/parse | (chain - fetch)/parse | chain peak extra | parse peak extra |\n");
        std::printf("|---:|---:|---:|---:|---:|---:|---:|---:|---:|\n");
        bool largeTimeMet = true, largeMemoryMet = true;
        for (const int count : {1000, 10000}) {
            const QByteArray largeFault =
                QByteArray("{\"kind\":\"large\",\"count\":") + QByteArray::number(count) + '}';
            const int reps = quick ? 2 : (count >= 10000 ? 5 : 10);
            std::vector<double> chainE2e, rawFetch, parse;
            // Peaks are the worst repetition, not the median.
            qint64 chainPeakKb = 0, parsePeakKb = 0;
            QByteArray bytes;
            for (int r = 0; r < reps; ++r) {
                emulator.fault(largeFault);
                const qint64 base = resetPeakAndReadRssKb();
                chainE2e.push_back(bench.chainOnce());
                chainPeakKb = std::max(chainPeakKb, procStatusKb("VmHWM") - base);

                emulator.fault(largeFault);
                bytes.clear();
                rawFetch.push_back(bench.rawOnce(&bytes));
                const qint64 parseBase = resetPeakAndReadRssKb();
                const auto start = Clock::now();
                {
                    const QJsonDocument document = QJsonDocument::fromJson(bytes);
                    parse.push_back(msSince(start));
                    if (!document.isArray() || document.array().size() != count)
                        ++bench.failures;
                    parsePeakKb = std::max(parsePeakKb, procStatusKb("VmHWM") - parseBase);
                }
            }
            const double size = double(bytes.size());
            const double ratio = median(chainE2e) / median(parse);
            const double memRatio = chainPeakKb * 1024.0 / size;
            largeTimeMet = largeTimeMet && ratio <= 2.0;
            largeMemoryMet = largeMemoryMet && memRatio < 8.0;
            // The fetch includes the emulator building the reply, which is
            // not the client's work; the second ratio leaves it out.
            const double clientRatio = (median(chainE2e) - median(rawFetch)) / median(parse);
            std::printf("| %d | %.0f | %.2f | %.2f | %.2f | %.2f× | %.2f× | %.1f MB (%.1f× reply) | %.1f MB "
                        "(%.1f× reply) |\n",
                        count, size, median(chainE2e), median(rawFetch), median(parse), ratio, clientRatio,
                        chainPeakKb / 1024.0, memRatio, parsePeakKb / 1024.0, parsePeakKb * 1024.0 / size);
        }
        std::printf("\nGoal e2e ≤ 2× parse: %s. Goal peak extra < 8× reply: %s\n\n", verdict(largeTimeMet),
                    verdict(largeMemoryMet));
    }

    // --- Start-up share measurable without a host.
    std::printf("## Chain construction\n\n");
    std::printf("| buildSdkChain | RSS added |\n|---:|---:|\n");
    std::printf("| %.3f ms | %lld kB |\n\n", chainBuildMs, rssAfterChainKb - rssBeforeChainKb);

    std::printf("failed or missing results: %d\n", bench.failures);
    if (!bench.firstFailure.isEmpty())
        std::printf("first chain error: %s\n", qPrintable(bench.firstFailure.left(300)));
    return bench.failures == 0 ? 0 : 2;
}
