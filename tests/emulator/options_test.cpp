#include "EmulatorOptions.h"
#include "FaultKinds.h"

#include <gtest/gtest.h>

#include <QRegularExpression>

namespace QuorvelEmulatorTest {
namespace {

// The help is where a test writer learns the fault language: it must name
// every kind the parser knows.
TEST(EmulatorOptions, HelpDocumentsEveryFaultKind)
{
    const auto options = QuorvelEmulator::parseEmulatorOptions({"quorvel-emulator", "--help"});
    ASSERT_TRUE(options.has_value()) << options.error().toStdString();
    ASSERT_TRUE(options->showHelp);
    const QString documented = options->helpText.section("  kind ", 1).section("  target", 0, 0);
    for (const QuorvelEmulator::FaultKind& kind : QuorvelEmulator::faultKinds())
        EXPECT_TRUE(documented.contains(QRegularExpression(QStringLiteral("\\b%1\\b").arg(kind.name))))
            << kind.name << " is not in the help's list of kinds";
}

} // namespace
} // namespace QuorvelEmulatorTest
