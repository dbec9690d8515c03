// quorvel_startup_bench: what the chat plug-in adds to the host's start with
// nobody signed in, beside the host's own start measured in the same process:
// loading the library, initialize(), and onViewLoaded() on the page's form.
//
// Each start is a fresh child process (the plug-in loads once per process);
// the parent runs them and prints medians.
//
//   quorvel_startup_bench [--runs N]
//
// QUORVEL_STARTUP_COLD_FONTS=1 leaves the font database cold when the page
// loads, as in a host that has measured no text yet.
#include <algorithm>
#include <chrono>
#include <cstdio>
#include <vector>

#include <QApplication>
#include <QFile>
#include <QFontMetrics>
#include <QPluginLoader>
#include <QProcess>
#include <QUiLoader>
#include <QWidget>

#include <Vyx/CAbstractVyxPlugin.h>
#include <Vyx/CTarsionApp.h>
#include <Vyx/CVyxAccount.h>
#include <Vyx/IVyxPlugin.h>

namespace {

using Clock = std::chrono::steady_clock;

double msBetween(Clock::time_point a, Clock::time_point b)
{
    return std::chrono::duration<double, std::milli>(b - a).count();
}

qint64 rssKb()
{
    QFile file(QStringLiteral("/proc/self/status"));
    if (!file.open(QIODevice::ReadOnly))
        return -1;
    for (const QByteArray& line : file.readAll().split('\n')) {
        if (line.startsWith("VmRSS:"))
            return line.mid(6).trimmed().split(' ').value(0).toLongLong();
    }
    return -1;
}

// One start; prints "hostMs loadMs initMs viewLoadedMs hostRssKb pluginRssKb".
int once(int argc, char** argv)
{
    const auto begin = Clock::now();
    QApplication app(argc, argv);
    CTarsionApp tarsion;
    CVyxAccount account;
    tarsion.setAccount(&account);
    QWidget* view = nullptr;
    {
        QFile form(QStringLiteral(QUORVEL_FORM_FILE));
        if (!form.open(QIODevice::ReadOnly))
            return 1;
        QUiLoader loader;
        view = loader.load(&form);
    }
    if (view == nullptr)
        return 1;
    // The host lays out its own text (page list, menus) before any page is
    // shown; without this the font database's one-off start would be
    // charged to whichever page first measures a string.
    if (!qEnvironmentVariableIsSet("QUORVEL_STARTUP_COLD_FONTS"))
        QFontMetrics(QApplication::font()).horizontalAdvance(QStringLiteral("Chat"));
    const auto hostReady = Clock::now();
    const qint64 hostRss = rssKb();

    QPluginLoader loader(QStringLiteral(QUORVEL_PLUGIN_FILE));
    QObject* instance = loader.instance();
    auto* plugin = qobject_cast<IVyxPlugin*>(instance);
    auto* model = qobject_cast<CViewModelBase*>(instance);
    if (plugin == nullptr || model == nullptr) {
        std::fprintf(stderr, "%s\n", qPrintable(loader.errorString()));
        return 1;
    }
    const auto loaded = Clock::now();
    plugin->initialize();
    const auto initialised = Clock::now();
    model->setView(view);
    model->onViewLoaded();
    const auto viewLoaded = Clock::now();
    const qint64 pluginRss = rssKb() - hostRss;

    std::printf("%f %f %f %f %lld %lld\n", msBetween(begin, hostReady), msBetween(hostReady, loaded),
                msBetween(loaded, initialised), msBetween(initialised, viewLoaded), hostRss, pluginRss);
    std::fflush(stdout);
    // The view belongs to the page from here on; quitting without tearing it
    // down is what the measurement does not cover anyway.
    std::_Exit(0);
}

double median(std::vector<double> values)
{
    std::sort(values.begin(), values.end());
    return values.empty() ? 0 : values[values.size() / 2];
}

} // namespace

int main(int argc, char** argv)
{
    for (int i = 1; i < argc; ++i) {
        if (qstrcmp(argv[i], "--once") == 0)
            return once(argc, argv);
    }
    int runs = 20;
    for (int i = 1; i + 1 < argc; ++i) {
        if (qstrcmp(argv[i], "--runs") == 0)
            runs = std::max(1, atoi(argv[i + 1]));
    }

    std::vector<double> host, load, init, viewLoaded, hostRss, pluginRss;
    for (int r = 0; r < runs; ++r) {
        QProcess child;
        QProcessEnvironment env = QProcessEnvironment::systemEnvironment();
        if (!env.contains(QStringLiteral("QT_QPA_PLATFORM")))
            env.insert(QStringLiteral("QT_QPA_PLATFORM"), QStringLiteral("offscreen"));
        child.setProcessEnvironment(env);
        child.setProcessChannelMode(QProcess::ForwardedErrorChannel);
        child.start(QString::fromLocal8Bit(argv[0]), {QStringLiteral("--once")});
        if (!child.waitForFinished(60000) || child.exitCode() != 0) {
            std::fprintf(stderr, "quorvel_startup_bench: run %d failed\n", r);
            return 1;
        }
        const QList<QByteArray> f = child.readAllStandardOutput().trimmed().split(' ');
        if (f.size() != 6)
            return 1;
        host.push_back(f[0].toDouble());
        load.push_back(f[1].toDouble());
        init.push_back(f[2].toDouble());
        viewLoaded.push_back(f[3].toDouble());
        hostRss.push_back(f[4].toDouble());
        pluginRss.push_back(f[5].toDouble());
    }
    const double added = median(load) + median(init) + median(viewLoaded);
    std::printf("## Start-up, nobody signed in (median of %d processes)\n\n", runs);
    std::printf("| step | ms |\n|---|---:|\n");
    std::printf("| host start: QApplication, account, page form (reference) | %.2f |\n", median(host));
    std::printf("| plug-in library load and instance | %.2f |\n", median(load));
    std::printf("| initialize() | %.3f |\n", median(init));
    std::printf("| onViewLoaded() | %.3f |\n", median(viewLoaded));
    std::printf("| added by the plug-in | %.2f (%.0f%% of the host's start) |\n\n", added,
                100 * added / median(host));
    std::printf("| resident memory | kB |\n|---|---:|\n");
    std::printf("| host after start (reference) | %.0f |\n", median(hostRss));
    std::printf("| added by the plug-in | %.0f (%.1f%% of the host) |\n", median(pluginRss),
                100 * median(pluginRss) / median(hostRss));
    return 0;
}
