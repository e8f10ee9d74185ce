// The clip tool's window: the source (from the player or chosen), the span as
// times or frame numbers, the output folder; Start exports the clip and its
// manifest, Verify checks a manifest.
#pragma once

#include <memory>

#include "ToolWindow.h"

class QComboBox;
class QLabel;
class QLineEdit;
class QPushButton;
class QSpinBox;
class QStackedWidget;
class QDoubleSpinBox;

class ClipWindow : public ToolWindow {
    Q_OBJECT
public:
    explicit ClipWindow(QWidget* pParent = nullptr);

    void ReTranslateUI() override;
    void ConnectSignals() override;

    void SetSource(const QString& strPath);
    QString Source() const;
    void SetOutDir(const QString& strDir);
    void SetSpanSeconds(double dFrom, double dTo);
    void SetSpanFrames(int nFrom, int nTo);
    // Frame-exact (edges re-encoded losslessly) or key-frame (copy only).
    void SetExact(bool bExact);
    // The manifest of the last clip made; empty before.
    QString ManifestPath() const { return m_strManifest; }
    // Checks a manifest on the worker thread; the status line gives the answer.
    void VerifyManifest(const QString& strManifest);

protected:
    QString TitleText() const override;
    void BuildContent(QVBoxLayout* pContent) override;
    void On_StartClicked() override;
    void On_JobDone(const velquintools::JobResult& result) override;
    // Verify waits while a job runs, as Start does.
    void UpdateButtons() override;

private:
    void On_BrowseSource();
    // Reads the source's header: its length shown, the span's edits bounded.
    void On_SourceChanged();
    void On_BrowseOutDir();
    void On_BrowseManifest();

    QLabel* m_pLabSource = nullptr;
    QLineEdit* m_pEdtSource = nullptr;
    QLabel* m_pLabLength = nullptr; // the source's length, or why it cannot be read
    QPushButton* m_pBtnBrowseSource = nullptr;
    QLabel* m_pLabUnit = nullptr;
    QComboBox* m_pCmbUnit = nullptr;
    QStackedWidget* m_pStackSpan = nullptr;
    QLabel* m_pLabFrom = nullptr;
    QLabel* m_pLabTo = nullptr;
    QDoubleSpinBox* m_pTimeFrom = nullptr; // seconds
    QDoubleSpinBox* m_pTimeTo = nullptr;
    QSpinBox* m_pSpinFrom = nullptr;
    QSpinBox* m_pSpinTo = nullptr;
    QLabel* m_pLabOutDir = nullptr;
    QLineEdit* m_pEdtOutDir = nullptr;
    QPushButton* m_pBtnBrowseOut = nullptr;
    QLabel* m_pLabMode = nullptr;
    QComboBox* m_pCmbMode = nullptr;
    QLabel* m_pLabModeHint = nullptr;
    QPushButton* m_pBtnVerify = nullptr;
    QLabel* m_pLabResult = nullptr;
    QString m_strManifest;
    std::shared_ptr<QString> m_pstrJobManifest; // the running export's manifest path
};
