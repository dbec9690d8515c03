#include "HostWindow.h"

#include <stdexcept>

#include <QDir>
#include <QFile>
#include <QLabel>
#include <QLibrary>
#include <QListWidget>
#include <QMenuBar>
#include <QStatusBar>
#include <QPluginLoader>
#include <QSplitter>
#include <QStackedWidget>
#include <QToolBar>
#include <QUiLoader>

#include <Vyx/CAbstractVyxPlugin.h>
#include <Vyx/CVyxAccount.h>

HostWindow::HostWindow(CVyxAccount* account, QWidget* parent)
    : QMainWindow(parent)
    , m_account(account)
    , m_list(new QListWidget)
    , m_stack(new QStackedWidget)
{
    setWindowTitle(QStringLiteral("Vyx"));
    resize(980, 700);
    auto* splitter = new QSplitter(this);
    m_list->setMaximumWidth(200);
    splitter->addWidget(m_list);
    splitter->addWidget(m_stack);
    splitter->setStretchFactor(1, 1);
    setCentralWidget(splitter);
    connect(m_list, &QListWidget::currentRowChanged, this, &HostWindow::onPageSelected);

    // The same actions in a menu (reachable with Alt and the underlined
    // letters) and on a toolbar; Refresh also on the platform's refresh key.
    m_signInAction = new QAction(tr("Sign &in"), this);
    m_signInAction->setShortcut(QKeySequence(tr("Ctrl+Shift+I")));
    m_signInAction->setEnabled(false);
    connect(m_signInAction, &QAction::triggered, this, [this] {
        if (m_signIn)
            m_signIn();
    });
    auto* signOut = new QAction(tr("Sign &out"), this);
    signOut->setShortcut(QKeySequence(tr("Ctrl+Shift+O")));
    connect(signOut, &QAction::triggered, this, [this] { m_account->signOut(); });
    auto* refresh = new QAction(tr("&Refresh"), this);
    refresh->setShortcuts({QKeySequence::Refresh, QKeySequence(tr("Ctrl+R"))});
    connect(refresh, &QAction::triggered, this, &HostWindow::refreshPage);
    QMenu* menu = menuBar()->addMenu(tr("&Account"));
    menu->addActions({m_signInAction, signOut, refresh});
    QToolBar* toolbar = addToolBar(QStringLiteral("Account"));
    toolbar->setMovable(false);
    toolbar->addActions({m_signInAction, signOut, refresh});

    // Why a sign-in failed belongs where the user looks, not only on stderr.
    connect(account, &CVyxAccount::signInFailed, this, [this](const QString& reason) {
        statusBar()->showMessage(tr("Sign-in failed: %1").arg(reason));
    });
    connect(account, &CVyxAccount::signedInUserChanged, this, [this](const Ambrel::SignIn::UserInfo& user) {
        statusBar()->showMessage(user.userId.isEmpty() ? tr("Signed out.")
                                                       : tr("Signed in as %1.").arg(user.displayName));
    });
}

HostWindow::~HostWindow()
{
    // Views first: they may still point at what their plug-in owns. Then the
    // plug-in objects, so that their threads stop while the host is still
    // whole. The libraries stay loaded: types they registered with Qt must
    // outlive the application object.
    for (Page& page : m_pages)
        delete page.view.data();
    for (Page& page : m_pages)
        delete page.instance.data();
}

void HostWindow::setSignInHandler(std::function<void()> signIn)
{
    m_signIn = std::move(signIn);
    m_signInAction->setEnabled(static_cast<bool>(m_signIn));
}

int HostWindow::loadPlugins(const QString& folder)
{
    const QDir dir(folder);
    int added = 0;
    for (const QString& file : dir.entryList(QDir::Files, QDir::Name)) {
        const QString path = dir.absoluteFilePath(file);
        if (!QLibrary::isLibrary(path)) {
            qInfo().noquote() << "vyx-host: skipped" << path << ": not a shared library";
            continue;
        }
        auto* loader = new QPluginLoader(path, this);
        const QString iid = loader->metaData().value(QStringLiteral("IID")).toString();
        if (iid != QLatin1String(IVyxPlugin_iid)) {
            qInfo().noquote()
                << "vyx-host: skipped" << path << ":"
                << (iid.isEmpty()
                        ? QStringLiteral("not a Qt plug-in (%1)").arg(loader->errorString())
                        : QStringLiteral("interface %1, not %2").arg(iid, QLatin1String(IVyxPlugin_iid)));
            delete loader;
            continue;
        }
        if (loader->instance() == nullptr) {
            qWarning().noquote() << "vyx-host: cannot load" << path << ":" << loader->errorString();
            delete loader;
            continue;
        }
        addPage(loader);
        ++added;
    }
    return added;
}

void HostWindow::addPage(QPluginLoader* loader)
{
    QObject* instance = loader->instance();
    Page page;
    page.loader = loader;
    page.instance = instance;
    page.plugin = qobject_cast<IVyxPlugin*>(instance);
    page.model = qobject_cast<CViewModelBase*>(instance);
    if (page.plugin == nullptr || page.model == nullptr) {
        qWarning().noquote() << "vyx-host:" << loader->fileName() << "is not a Vyx plug-in page";
        return;
    }
    page.plugin->initialize();
    page.view = buildView(page.model);
    m_stack->addWidget(page.view);
    auto* item = new QListWidgetItem(page.plugin->getPluginCaption(), m_list);
    if (auto* captioned = qobject_cast<CViewModelWithCaption*>(instance))
        item->setIcon(captioned->getIcon());
    m_pages.append(page);
}

QWidget* HostWindow::buildView(CViewModelBase* model)
{
    QFile form(QStringLiteral(":/forms/") + model->getViewFileName());
    QWidget* view = nullptr;
    if (form.open(QIODevice::ReadOnly)) {
        QUiLoader loader;
        view = loader.load(&form);
    }
    if (view == nullptr) {
        auto* missing = new QLabel(tr("No form \"%1\" for this page.").arg(model->getViewFileName()));
        missing->setAlignment(Qt::AlignCenter);
        return missing;
    }
    model->setView(view);
    try {
        model->onViewLoaded();
    } catch (const std::exception& e) {
        // A page that cannot fill its view must not take the host down.
        auto* failed = new QLabel(QString::fromUtf8(e.what()), view);
        failed->setWordWrap(true);
    }
    return view;
}

bool HostWindow::showPage(const QString& caption)
{
    for (int row = 0; row < m_pages.size(); ++row) {
        if (caption.isEmpty() || m_pages[row].plugin->getPluginCaption() == caption) {
            if (m_list->currentRow() == row)
                onPageSelected(row);
            else
                m_list->setCurrentRow(row);
            return true;
        }
    }
    return false;
}

QWidget* HostWindow::currentPageView() const
{
    return m_stack->currentWidget();
}

void HostWindow::refreshPage()
{
    const int row = m_list->currentRow();
    if (row >= 0 && row < m_pages.size())
        m_pages[row].plugin->refresh();
}

QStringList HostWindow::captions() const
{
    QStringList result;
    for (const Page& page : m_pages)
        result << page.plugin->getPluginCaption();
    return result;
}

void HostWindow::onPageSelected(int row)
{
    if (row < 0 || row >= m_pages.size())
        return;
    m_stack->setCurrentWidget(m_pages[row].view);
    m_pages[row].plugin->refresh();
    Q_EMIT pageShown();
}
