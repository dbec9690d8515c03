#pragma once

#include <QList>
#include <QMainWindow>
#include <QPointer>

class CVyxAccount;
class CViewModelBase;
class IVyxPlugin;
class QListWidget;
class QPluginLoader;
class QStackedWidget;

// The host's main window: a list of plug-in pages by caption beside the page
// that is shown, and sign-in, sign-out and refresh actions.
class HostWindow : public QMainWindow
{
    Q_OBJECT

public:
    explicit HostWindow(CVyxAccount* account, QWidget* parent = nullptr);
    ~HostWindow() override;

    // Loads every plug-in of the folder whose interface id is the host's;
    // returns how many pages were added. Reasons for skipped files go to the
    // log.
    int loadPlugins(const QString& folder);
    // Shows the page with that caption, or the first page for an empty one.
    bool showPage(const QString& caption);
    QWidget* currentPageView() const;
    QStringList captions() const;
    // Asks the shown page's plug-in to refresh, as the Refresh action does.
    void refreshPage();

    // What the sign-in action uses; without a token endpoint it stays off.
    void setSignInHandler(std::function<void()> signIn);

Q_SIGNALS:
    void pageShown();

private:
    struct Page
    {
        QPointer<QPluginLoader> loader;
        QPointer<QObject> instance;
        IVyxPlugin* plugin = nullptr;
        CViewModelBase* model = nullptr;
        QPointer<QWidget> view;
    };

    void addPage(QPluginLoader* loader);
    QWidget* buildView(CViewModelBase* model);
    void onPageSelected(int row);

    CVyxAccount* m_account;
    QListWidget* m_list;
    QStackedWidget* m_stack;
    QList<Page> m_pages;
    std::function<void()> m_signIn;
    QAction* m_signInAction = nullptr;
};
