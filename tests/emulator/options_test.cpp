#include "EmulatorOptions.h"

#include <gtest/gtest.h>

#include <QJsonObject>
#include <QRegularExpression>

#include "Faults.h"

namespace QuorvelEmulatorTest {
namespace {

using namespace QuorvelEmulator;

std::expected<EmulatorOptions, QString> parse(QStringList arguments)
{
    arguments.prepend(QStringLiteral("quorvel-emulator"));
    return parseEmulatorOptions(arguments);
}

TEST(EmulatorOptions, DefaultsServeTheShippedDataOnAFreePort)
{
    const auto options = parse({});
    ASSERT_TRUE(options.has_value()) << options.error().toStdString();
    EXPECT_EQ(options->port, 0);
    EXPECT_EQ(options->dataDirectory, QStringLiteral(QUORVEL_EMULATOR_DATA_DIR));
    EXPECT_EQ(options->token.clientId, QStringLiteral("demo-client"));
    EXPECT_EQ(options->token.clientSecret, QStringLiteral("demo-secret"));
    EXPECT_EQ(options->token.lifetimeSeconds, 3600);
    EXPECT_TRUE(options->faults.isEmpty());
    EXPECT_FALSE(options->showHelp);
}

// The help is where a test writer learns the fault language: it must name
// every kind the parser knows.
TEST(EmulatorOptions, HelpDocumentsEveryFaultKind)
{
    const auto options = parse({"--help"});
    ASSERT_TRUE(options.has_value()) << options.error().toStdString();
    ASSERT_TRUE(options->showHelp);
    EXPECT_TRUE(options->helpText.contains(QLatin1String("/_emulator/faults")));
    const auto unknown = Fault::fromJson(QJsonObject{{QStringLiteral("kind"), QStringLiteral("?")}});
    ASSERT_FALSE(unknown.has_value());
    const QString error = unknown.error();
    const QString list = error.mid(error.indexOf(QLatin1String("one of ")) + 7).chopped(1);
    const QStringList kinds = list.split(QStringLiteral(", "));
    ASSERT_GE(kinds.size(), 15) << error.toStdString();
    const QString documented =
        options->helpText.section(QLatin1String("  kind "), 1).section(QLatin1String("  target"), 0, 0);
    for (const QString& kind : kinds)
        EXPECT_TRUE(documented.contains(QRegularExpression(QStringLiteral("\\b%1\\b").arg(kind))))
            << kind.toStdString() << " is not in the help's list of kinds";
}

TEST(EmulatorOptions, ReadsEveryOption)
{
    const auto options =
        parse({"--port", "18080", "--data", "/tmp/e2e-data", "--client-id", "e2e", "--client-secret", "pw",
               "--token-lifetime", "5", "--fault", R"({"kind":"status","status":503})", "--fault",
               R"([{"kind":"delay","delayMs":10},{"kind":"close","target":"token"}])"});
    ASSERT_TRUE(options.has_value()) << options.error().toStdString();
    EXPECT_EQ(options->port, 18080);
    EXPECT_EQ(options->dataDirectory, QStringLiteral("/tmp/e2e-data"));
    EXPECT_EQ(options->token.clientId, QStringLiteral("e2e"));
    EXPECT_EQ(options->token.clientSecret, QStringLiteral("pw"));
    EXPECT_EQ(options->token.lifetimeSeconds, 5);
    ASSERT_EQ(options->faults.size(), 3);
    EXPECT_EQ(options->faults.at(0).status, 503);
    EXPECT_EQ(options->faults.at(1).kind, FaultKind::Delay);
    EXPECT_EQ(options->faults.at(2).target, FaultTarget::Token);
}

TEST(EmulatorOptions, RefusesBadValuesWithAMessage)
{
    const QList<QStringList> bad{
        {"--port", "65536"},
        {"--port", "-1"},
        {"--port", "eighty"},
        {"--token-lifetime", "0"},
        {"--token-lifetime", "1.5"},
        {"--client-id", ""},
        {"--fault", R"({"kind":"status"})"},
        {"--fault", "{"},
        {"--bogus"},
        {"stray"},
    };
    for (const QStringList& arguments : bad) {
        const auto options = parse(arguments);
        ASSERT_FALSE(options.has_value()) << arguments.join(' ').toStdString();
        EXPECT_FALSE(options.error().isEmpty());
    }
}

} // namespace
} // namespace QuorvelEmulatorTest
