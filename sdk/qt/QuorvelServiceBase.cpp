#include "sdk/qt/QuorvelServiceBase.h"

namespace QuorvelSdk {

QuorvelServiceBase::QuorvelServiceBase(QObject* parent) : QObject(parent) {}

QuorvelServiceBase::~QuorvelServiceBase()
{
    // Runs the base's own release: a derived part is already gone here.
    QuorvelServiceBase::releaseAll();
}

void QuorvelServiceBase::releaseAll()
{
    const QList<QPointer<QObject>> tracked = std::exchange(trackedObjects, {});
    for (const QPointer<QObject>& object : tracked) {
        if (object) {
            object->disconnect();
            delete object.data();
        }
    }
    ownedObject.reset();
    sharedHandle.reset();
}

} // namespace QuorvelSdk
