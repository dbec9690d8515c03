#pragma once

#include <QFile>
#include <QString>
#include <QStringList>

#include <gtest/gtest.h>

namespace QuorvelTest {

// A whole output held against a file kept beside the test. A golden is
// written by hand review, not by faith: QUORVEL_UPDATE_GOLDENS=1 rewrites
// the files from the current output, and the diff is what a reviewer reads.
inline ::testing::AssertionResult matchesGolden(const QString& path, const QString& actual)
{
    QFile file(path);
    if (qEnvironmentVariableIntValue("QUORVEL_UPDATE_GOLDENS") == 1) {
        if (!file.open(QIODevice::WriteOnly) || file.write(actual.toUtf8()) < 0)
            return ::testing::AssertionFailure() << "cannot write " << path.toStdString();
        return ::testing::AssertionSuccess();
    }
    if (!file.open(QIODevice::ReadOnly))
        return ::testing::AssertionFailure() << "no golden " << path.toStdString();
    const QString expected = QString::fromUtf8(file.readAll());
    if (expected == actual)
        return ::testing::AssertionSuccess();
    const QStringList want = expected.split(u'\n');
    const QStringList got = actual.split(u'\n');
    qsizetype line = 0;
    while (line < want.size() && line < got.size() && want[line] == got[line])
        ++line;
    return ::testing::AssertionFailure()
           << path.toStdString() << ", line " << line + 1 << ":\n  golden: " << want.value(line).toStdString()
           << "\n  actual: " << got.value(line).toStdString();
}

} // namespace QuorvelTest
