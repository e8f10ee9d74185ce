// The window of a companion tool, in the player's look: a skinned dialog with
// the title bar of the side dialogs, the tool's own fields, a progress bar, a
// status line and Start / Cancel. The work runs as a ToolJob on its worker
// thread; its progress and end reach this window as queued calls.
//
// A tool derives from it, builds its fields in BuildContent(), checks them in
// On_StartClicked() (ShowBadInput() for each bad one) and hands the work to
// RunJob().
#pragma once

#include <QString>

#include <memory>

#include "CustomDialog.h"
#include "ToolJob.h"

class QEvent;
class QLabel;
class QProgressBar;
class QPushButton;
class QVBoxLayout;
class ToolArgs;

class ToolWindow : public CustomDialog {
    Q_OBJECT
public:
    explicit ToolWindow(QWidget* pParent = nullptr);
    // Cancels a running job and waits for it.
    ~ToolWindow() override;

    // The language and the skin the player passed, for the whole program:
    // strings through CLanguageParser, the application style sheet of the skin.
    // The strings are compiled into the program, so a tool finds them in
    // whatever folder it sits.
    static void ApplyLookAndLanguage(const ToolArgs& args);
    // The text of a language key in the loaded language, else strDefault.
    static QString Text(const char* szKey, const QString& strDefault);

    // SetupUI, ReTranslateUI, InitBkgs and ConnectSignals, in that order.
    void Init();
    void SetupUI() override;
    void ReTranslateUI() override;
    void ConnectSignals() override;
    // The close button's picture, from the skin's folder.
    void InitBkgs() override;

    bool IsJobRunning() const;
    QString StatusText() const;
    int ProgressPercent() const;

public slots:
    // Escape and the close button: cancel the job first, close when idle.
    void On_Cancel() override;

signals:
    // After the window has shown the end of a job.
    void Sig_JobFinished(bool bOk);

protected:
    bool event(QEvent* pEvent) override;
    virtual QString TitleText() const = 0;
    virtual void BuildContent(QVBoxLayout* pContent) = 0;
    // Start was pressed and no job runs.
    virtual void On_StartClicked() = 0;
    // The job ended (on the GUI thread); the status line already says how.
    virtual void On_JobDone(const velquintools::JobResult& result) { Q_UNUSED(result); }

    // Starts the work; false (and a status line) while another job runs.
    bool RunJob(velquintools::JobFn fnJob, const QString& strRunningText);
    // A bad input: the status line and a message box that does not block.
    void ShowBadInput(const QString& strText);
    void SetStatus(const QString& strText, bool bError = false);
    // Enables what may be pressed: Start only while no job runs.
    virtual void UpdateButtons();
    QPushButton* StartButton() const { return m_pBtnStart; }

private:
    void On_Progress(double dValue);
    void On_Finished(const velquintools::JobResult& result);

    std::unique_ptr<velquintools::ToolJob> m_pJob;
    bool m_bJobRunning = false; // GUI thread's view: from RunJob to On_Finished
    QLabel* m_pLabTitle = nullptr;
    QPushButton* m_pBtnClose = nullptr;
    QProgressBar* m_pProgress = nullptr;
    QLabel* m_pLabStatus = nullptr;
    QPushButton* m_pBtnStart = nullptr;
    QPushButton* m_pBtnCancel = nullptr;
};
