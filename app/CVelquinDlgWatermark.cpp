// The main dialog's watermark dialog: made at first use, kept, and fed the
// selected window's watermark record while it shows.
#include "CVelquinDlg.h"

#include "CDlgShow.h"
#include "CPlayWnd.h"
#include "CWatermarkDlg.h"

namespace {

const int WATERMARK_DLG_WIDTH = 320;
const int WATERMARK_DLG_HEIGHT = 260;

} // namespace

bool CVelquinDlg::On_ShowWatermarkDlg() {
    if (!m_pDlgShow)
        return false;
    if (!m_pWatermarkDlg) {
        m_pWatermarkDlg = new CWatermarkDlg(this);
        m_pWatermarkDlg->Init();
        m_pWatermarkDlg->resize(WATERMARK_DLG_WIDTH, WATERMARK_DLG_HEIGHT);
        connect(m_pWatermarkDlg, &CWatermarkDlg::Sig_WatermarkTimer, this, &CVelquinDlg::On_WatermarkTimer);
    }
    // Its bottom edge on the stage's bottom left corner, over the picture.
    const QPoint ptCorner = m_pDlgShow->mapToGlobal(QPoint(0, m_pDlgShow->height()));
    m_pWatermarkDlg->move(ptCorner.x(), ptCorner.y() - m_pWatermarkDlg->height());
    m_pWatermarkDlg->show();
    On_WatermarkTimer();
    return true;
}

bool CVelquinDlg::On_WatermarkTimer() {
    if (!m_pDlgShow || !m_pWatermarkDlg || !m_pWatermarkDlg->isVisible())
        return false;
    // A window that saw no watermark, or none at all, leaves the record zero:
    // the dialog then shows empty values.
    unsigned char aRecord[CWatermarkDlg::kRecordBytes] = {};
    if (CPlayWnd* pWnd = m_pDlgShow->GetPlayWnd(m_pDlgShow->GetSelWndIndex()))
        pWnd->GetWatermarkInfo(aRecord);
    return m_pWatermarkDlg->SetWatermarkInfo(aRecord);
}
