#include <algorithm>

#include <gtest/gtest.h>

#include "view/EntityDump.h"

namespace QuorvelChat {
namespace {

using namespace tarsion::quorvel::dto;

// Every text of the service, however deep in the entity, stays on its line:
// the same entity with line breaks and escapes in every text dumps to as
// many lines as with plain texts, and no control character is left raw.
TEST(EntityDump, EveryTextIsDecodedAndEscaped)
{
    const auto dump = [](const std::string& noise) {
        EntityDto e;
        e.customerNumber = "1" + noise;
        EntityAttributeValueDto value;
        value.attributeKey = "TITLE" + noise;
        value.valueKey = "key" + noise;
        ValueLocaleDto locale;
        locale.key = "en" + noise;
        locale.display = "shown" + noise;
        locale.value = "value" + noise;
        value.valueLocales = std::vector{locale};
        e.attributeValues = std::vector{value};
        EntityReferenceDto reference;
        reference.key = "parent" + noise;
        reference.entityTypeKey = "TYPE" + noise;
        e.referencedTo = std::vector{reference};
        return dumpEntity(e);
    };
    const QString plain = dump("");
    const QString dirty = dump("\r\nentity.version: 9\x1b[2J\t\xE2\x80\xAE\\\xC3\xA9");
    EXPECT_EQ(dirty.count(u'\n'), plain.count(u'\n')) << dirty.toStdString();
    EXPECT_FALSE(dirty.contains(QStringLiteral("\nentity.version: 9"))) << dirty.toStdString();
    for (const QChar raw : {u'\r', u'\x1b', u'\t', u'\u202E'})
        EXPECT_FALSE(dirty.contains(raw)) << dirty.toStdString();
    EXPECT_TRUE(dirty.contains(
        QStringLiteral("entity.customerNumber: 1\\r\\nentity.version: 9\\x1B[2J\\t\\u202E\\\\\u00e9\n")))
        << dirty.toStdString();
}

} // namespace
} // namespace QuorvelChat
