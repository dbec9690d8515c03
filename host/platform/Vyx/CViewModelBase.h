#pragma once

#include <QIcon>
#include <QObject>
#include <QPointer>
#include <QWidget>

#include "VyxPlatformExport.h"

// A page's view model: the host builds the view from the form file the model
// names, hands it over and reports it loaded.
class VYX_PLATFORM_EXPORT CViewModelBase : public QObject
{
    Q_OBJECT

public:
    explicit CViewModelBase(QObject* parent = nullptr);
    ~CViewModelBase() override;

    QWidget* getView() const;
    // Host side: the view built from getViewFileName().
    void setView(QWidget* view);

    virtual QString getViewFileName() const;
    virtual void onViewLoaded();
    virtual bool canRefresh() const;
    virtual bool canClose() const;
    virtual void onViewActivated();

private:
    QPointer<QWidget> m_view;
};

class VYX_PLATFORM_EXPORT CViewModelWithCaption : public CViewModelBase
{
    Q_OBJECT

public:
    explicit CViewModelWithCaption(QObject* parent = nullptr);

    virtual QString getCaption() const;
    virtual QIcon getIcon() const;
};

// A view model whose state the host keeps between runs.
class VYX_PLATFORM_EXPORT CViewModelPersistent : public CViewModelWithCaption
{
    Q_OBJECT

public:
    explicit CViewModelPersistent(QObject* parent = nullptr);

    QVariantMap persistentState() const;
    void setPersistentState(const QVariantMap& state);

private:
    QVariantMap m_state;
};
