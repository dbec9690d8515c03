// The dump of whole entities, held against goldens: every line in its
// order, every field printed or left out, every service text escaped on its
// own line. Each <name>.entity.json beside this file is one entity as the
// service sends it; <name>.dump.txt is its dump.
#include <QDir>
#include <QFile>

#include <gtest/gtest.h>

#include "sdk/api/BusinessEntitiesQueryApi.h"
#include "support/qt/Golden.h"
#include "view/EntityDump.h"

namespace QuorvelChat {
namespace {

TEST(EntityDump, WholeEntitiesMatchTheirGoldens)
{
    const QDir golden(QStringLiteral(QUORVEL_GOLDEN_DIR));
    const QStringList inputs = golden.entryList({QStringLiteral("*.entity.json")}, QDir::Files, QDir::Name);
    ASSERT_EQ(inputs.size(), 4) << golden.path().toStdString();
    for (const QString& input : inputs) {
        SCOPED_TRACE(input.toStdString());
        QFile file(golden.filePath(input));
        ASSERT_TRUE(file.open(QIODevice::ReadOnly));
        const auto entities = tarsion::quorvel::api::BusinessEntitiesQueryApi::entities_from(
            "[" + file.readAll().toStdString() + "]");
        ASSERT_TRUE(entities.has_value() && entities->size() == 1u);
        QString dumpFile = input;
        dumpFile.replace(QStringLiteral(".entity.json"), QStringLiteral(".dump.txt"));
        EXPECT_TRUE(QuorvelTest::matchesGolden(golden.filePath(dumpFile), dumpEntity(entities->front())));
    }
}

} // namespace
} // namespace QuorvelChat
