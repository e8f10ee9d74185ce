#pragma once

#include <QString>

#include <vector>

#include "FileInfoSync.h"
#include "SyncRulerDlgBase.h"
#include "SyncWndFile.h"
#include "Tavrix.h"

class QLabel;
class QMouseEvent;
class QPushButton;
class QSlider;
class QWidget;

// The time ruler of synchronous play. It hangs under the main dialog while a
// group plays: a time scale over the whole days the group touches, one row per
// window with its file as a bar, and a red line with a time label at the
// group's position that the user can drag to jump.
//
// It holds no play logic: it is handed the group once (StartSyncRuler), is told
// the position by the main dialog's play timer (SetPlayPos) and reports a jump
// with Sig_SyncPlayLocate. Scale and rows are painted into pixmaps only on a new
// group, a zoom, a resize or a skin change, so that a timer tick only moves two
// labels. GUI thread only.
class SyncPlayProgressDlg : public SyncRulerDlgBase {
    Q_OBJECT

public:
    static const int DLG_HEIGHT = 147;
    static const int MAX_RULER_WIDTH = 30000; // bounds the size of both pixmaps
    static const int MIN_SCALE = 1;
    static const int MAX_SCALE = 50;
    static const int RULER_HEIGHT = 32;
    static const int ROW_HEIGHT = 33;

    explicit SyncPlayProgressDlg(QWidget* pParent = nullptr);

    // Builds the widgets; false only when it cannot. A second call does nothing.
    bool Init();
    // Takes the rows of a new group (window order) and the first and last file
    // ranges, and shows the red line at the group's begin.
    bool StartSyncRuler(std::vector<SYNC_WND_FILE*>& vecFiles, FILE_INFO_SYNC* pFirst, FILE_INFO_SYNC* pLast);
    // Back to the empty ruler when the group ends; the red line and label hide.
    bool ResetSyncRuler();
    // The group's position, from the play timer. While the user drags the red
    // line it is only remembered.
    bool SetPlayPos(TAVRIX_SYSTEM_TIME* pTime) override;
    void UpdateLanguage();
    // The selected window changed: its row takes the selection colour.
    void RefreshSelection() { UpdateFilesPixmap(); }

    // IObserverBase: colours, font and sheets of the ruler, then a repaint.
    void SkinChanged() override;

    // Read access, for the owner and for checks.
    int GetRulerWidth() const { return m_nRulerWidth; }
    int GetBaseWidth() const { return m_nBaseWidth; }
    int GetScale() const { return m_nScale; }
    int GetGrade() const { return m_nGrade; }
    int GetDays() const { return m_nDays; }
    int GetHours() const { return m_nHours; }

signals:
    bool Sig_SyncPlayLocate(double dPrecent, TAVRIX_SYSTEM_TIME* pstTime);

public slots:
    bool On_VScrollBarValueChange(int nValue) override;
    bool On_HScrollBarValueChange(int nValue);
    bool On_RulerScaleChange(int nValue);
    bool On_RulerScalePlus();
    bool On_RulerScaleMinus();

protected:
    void mousePressEvent(QMouseEvent* pEvent) override;
    void mouseMoveEvent(QMouseEvent* pEvent) override;
    void mouseReleaseEvent(QMouseEvent* pEvent) override;

private:
    void SetupUI() override;
    void LayoutChildren() override;
    bool SetScale(int nValue);
    void ShowFileLabels(int nFirstRow);
    bool ShowPlayPos(const TAVRIX_SYSTEM_TIME* pTime);
    void DaySpan(TAVRIX_SYSTEM_TIME* pDayBegin, TAVRIX_SYSTEM_TIME* pDayEnd) const;
    bool DragTarget(const QMouseEvent* pEvent, double* pdPrecent, TAVRIX_SYSTEM_TIME* pTime) const;
    int SelectedWndIndex() const override;

    bool m_bDragPlayPos = false;
    bool m_bCenterPlayPos = false;
    QLabel* m_pLabelPlayPosSysTime = nullptr;

    QLabel* m_pLabelSyncPlayTitle = nullptr;
    QLabel* m_pLabelSpace = nullptr;
    QLabel* m_pLabelFileName[3] = {nullptr, nullptr, nullptr};
    QWidget* m_pSliderRulerContainer = nullptr;
    QPushButton* m_pBtnRulerMinus = nullptr;
    QSlider* m_pSliderRulerScale = nullptr;
    QPushButton* m_pBtnRulerPlus = nullptr;
};
