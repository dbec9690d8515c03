#pragma once

#include <memory>

#include <QList>
#include <QObject>
#include <QPointer>

namespace QuorvelSdk {

// The QObject base of a service that owns SDK pieces: whatever it holds is
// let go by releaseAll(), which the destructor calls and derived services
// extend.
class QuorvelServiceBase : public QObject
{
    Q_OBJECT

public:
    explicit QuorvelServiceBase(QObject* parent = nullptr);
    ~QuorvelServiceBase() override;

    // Deletes every tracked object that still exists (after cutting its
    // connections), then the owned object, then drops the shared handle.
    // Calling it again finds nothing to release.
    virtual void releaseAll();

protected:
    std::shared_ptr<void> sharedHandle;
    std::unique_ptr<QObject> ownedObject;
    QList<QPointer<QObject>> trackedObjects;
};

} // namespace QuorvelSdk
