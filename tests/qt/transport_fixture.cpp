#include "transport_fixture.h"

#include <cstdint>

#ifdef __linux__
#include <sys/syscall.h>
#include <unistd.h>
#endif

#include <QFile>

namespace QuorvelTest {

#ifdef __linux__
long currentThreadId()
{
    return long(::syscall(SYS_gettid));
}

bool waitsInside(long tid, const void* object, std::size_t size)
{
    // "<number> <arg1> ..." while the thread is in a system call.
    QFile file(QStringLiteral("/proc/self/task/%1/syscall").arg(tid));
    if (!file.open(QIODevice::ReadOnly))
        return false;
    const QList<QByteArray> fields = file.readAll().simplified().split(' ');
    bool ok = fields.size() > 1 && fields[0].toLong() == SYS_futex;
    const auto address = ok ? fields[1].toULongLong(&ok, 16) : 0;
    const auto begin = reinterpret_cast<std::uintptr_t>(object);
    return ok && address >= begin && address < begin + size;
}
#endif

} // namespace QuorvelTest
