// quorvel-with-emulator [--log FILE] [--] PROGRAM [ARGUMENT...]
//
// Runs PROGRAM beside an emulator started for it on a free loopback port,
// and ends with PROGRAM's exit code once the emulator has stopped. Every
// "{url}" in the arguments becomes the emulator's base URL, which is also
// in the environment as QUORVEL_EMULATOR_URL, and the key its admin
// endpoints ask for is in QUORVEL_EMULATOR_ADMIN_KEY. Scripts use this rather than
// starting the emulator themselves, so that they start it as the tests and
// the benchmarks do.
#include <cstdio>

#include <QCoreApplication>
#include <QDir>
#include <QProcess>
#include <QProcessEnvironment>

#include "EmulatorProcess.h"

namespace {

constexpr int kUsage = 2;
constexpr int kNoEmulator = 3;
constexpr int kNoProgram = 127;
constexpr int kCrashed = 134;

void say(const QString& text)
{
    std::fprintf(stderr, "quorvel-with-emulator: %s\n", qPrintable(text));
}

} // namespace

int main(int argc, char** argv)
{
    QCoreApplication app(argc, argv);
    QStringList arguments = app.arguments().mid(1);
    QString log = QProcess::nullDevice();
    if (arguments.value(0) == QLatin1String("--log") && arguments.size() > 1) {
        log = arguments.at(1);
        arguments = arguments.mid(2);
    }
    if (arguments.value(0) == QLatin1String("--"))
        arguments.removeFirst();
    if (arguments.isEmpty() || arguments.first().startsWith(QLatin1Char('-'))) {
        say(QStringLiteral("usage: quorvel-with-emulator [--log FILE] [--] PROGRAM [ARGUMENT...]"));
        return kUsage;
    }

    // Beside this program, where the build puts both.
    QuorvelEmulator::EmulatorProcess emulator(QDir(app.applicationDirPath()).filePath("quorvel-emulator"));
    emulator.process().setStandardErrorFile(log);
    if (!emulator.start()) {
        say(QStringLiteral("the emulator did not start: %1").arg(emulator.error()));
        return kNoEmulator;
    }
    const QString url = emulator.baseUrl();
    std::printf("Entity service emulator on %s\n", qPrintable(url));
    std::fflush(stdout);

    QProcess program;
    program.setProcessChannelMode(QProcess::ForwardedChannels);
    program.setInputChannelMode(QProcess::ForwardedInputChannel);
    QProcessEnvironment environment = QProcessEnvironment::systemEnvironment();
    environment.insert(QStringLiteral("QUORVEL_EMULATOR_URL"), url);
    environment.insert(QStringLiteral("QUORVEL_EMULATOR_ADMIN_KEY"),
                       QString::fromLatin1(emulator.adminKey()));
    program.setProcessEnvironment(environment);
    QStringList programArguments = arguments.mid(1);
    for (QString& argument : programArguments)
        argument.replace(QLatin1String("{url}"), url);
    program.start(arguments.first(), programArguments);
    if (!program.waitForStarted(-1)) {
        say(QStringLiteral("%1: %2").arg(arguments.first(), program.errorString()));
        return kNoProgram;
    }
    program.waitForFinished(-1);
    if (program.exitStatus() != QProcess::NormalExit) {
        say(QStringLiteral("%1 crashed").arg(arguments.first()));
        return kCrashed;
    }
    return program.exitCode();
}
