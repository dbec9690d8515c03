#include "DataStore.h"
#include "EmulatorHarness.h"

#include <gtest/gtest.h>

#include <QFile>
#include <QTemporaryDir>

namespace QuorvelEmulatorTest {
namespace {

using namespace QuorvelEmulator;

bool writeFile(const QString& path, const QByteArray& text)
{
    QFile file(path);
    return file.open(QIODevice::WriteOnly) && file.write(text) == text.size();
}

TEST(EmulatorData, ShippedDataHoldsTheDemoAndTheEmptyBusiness)
{
    const DataStore data = shippedData();
    EXPECT_EQ(data.businessIds(), QStringList({"demo", "empty"}));
    ASSERT_NE(data.business(QStringLiteral("demo")), nullptr);
    EXPECT_EQ(data.business(QStringLiteral("demo"))->size(), 3);
    EXPECT_EQ(data.business(QStringLiteral("nobody")), nullptr);
}

TEST(EmulatorData, EveryBusinessFileInTheFolderIsABusiness)
{
    QTemporaryDir dir;
    ASSERT_TRUE(dir.isValid());
    ASSERT_TRUE(
        writeFile(dir.filePath(QStringLiteral("acme.json")),
                  R"({"entities":[{"id":"11111111-2222-4333-8444-555555555555","entityTypeKey":"T"}]})"));
    ASSERT_TRUE(writeFile(dir.filePath(QStringLiteral("bare.json")), "[]"));
    ASSERT_TRUE(writeFile(dir.filePath(QStringLiteral("notes.txt")), "not a business"));

    const auto data = DataStore::loadDirectory(dir.path());

    ASSERT_TRUE(data.has_value()) << data.error().toStdString();
    EXPECT_EQ(data->businessIds(), QStringList({"acme", "bare"}));
    EXPECT_EQ(data->business(QStringLiteral("acme"))->size(), 1);
}

TEST(EmulatorData, AMalformedFileFailsTheLoadAndIsNamed)
{
    const struct
    {
        const char* text;
        const char* problem;
    } cases[] = {
        {"{", "not JSON"},
        {R"({"items":[]})", "entities"},
        {R"([{"entityTypeKey":"T"}])", "'id'"},
        {R"([{"id":"11111111-2222-4333-8444-555555555555"}])", "entityTypeKey"},
        {R"([{"id":"11111111-2222-4333-8444-555555555555","entityTypeKey":"T","attributeValues":[{}]}])",
         "attributeKey"},
        {R"([{"id":"11111111-2222-4333-8444-555555555555","entityTypeKey":"T"},)"
         R"( {"id":"11111111-2222-4333-8444-555555555555","entityTypeKey":"U"}])",
         "duplicate"},
    };
    for (const auto& bad : cases) {
        QTemporaryDir dir;
        ASSERT_TRUE(dir.isValid());
        ASSERT_TRUE(writeFile(dir.filePath(QStringLiteral("broken.json")), bad.text));

        const auto data = DataStore::loadDirectory(dir.path());

        ASSERT_FALSE(data.has_value()) << bad.text;
        EXPECT_TRUE(data.error().startsWith(QStringLiteral("broken.json: "))) << data.error().toStdString();
        EXPECT_TRUE(data.error().contains(QLatin1String(bad.problem))) << data.error().toStdString();
    }
    EXPECT_FALSE(DataStore::loadDirectory(QStringLiteral("/nonexistent/emulator-data")).has_value());
}

} // namespace
} // namespace QuorvelEmulatorTest
