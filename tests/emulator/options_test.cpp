#include "EmulatorOptions.h"
#include "Faults.h"

#include <gtest/gtest.h>

#include <QJsonObject>
#include <QRegularExpression>

namespace QuorvelEmulatorTest {
namespace {

// The help is where a test writer learns the fault language: it must name
// every kind the parser knows, and the parser's refusal lists them all.
TEST(EmulatorOptions, HelpDocumentsEveryFaultKind)
{
    const auto options = QuorvelEmulator::parseEmulatorOptions({"quorvel-emulator", "--help"});
    ASSERT_TRUE(options.has_value()) << options.error().toStdString();
    ASSERT_TRUE(options->showHelp);
    const auto unknown = QuorvelEmulator::Fault::fromJson(QJsonObject{{"kind", "?"}});
    ASSERT_FALSE(unknown.has_value());
    const QString error = unknown.error();
    const QStringList kinds = error.mid(error.indexOf(QLatin1String("one of ")) + 7).chopped(1).split(", ");
    ASSERT_GE(kinds.size(), 15) << error.toStdString();
    const QString documented = options->helpText.section("  kind ", 1).section("  target", 0, 0);
    for (const QString& kind : kinds)
        EXPECT_TRUE(documented.contains(QRegularExpression(QStringLiteral("\\b%1\\b").arg(kind))))
            << kind.toStdString() << " is not in the help's list of kinds";
}

} // namespace
} // namespace QuorvelEmulatorTest
