// Picture controls of the selected window (private data: of any window).

#include "CDlgShow.h"
#include "CPlayWnd.h"

void CDlgShow::SetColor(int nBrightness, int nContrast, int nSaturation, int nHue) {
    if (CPlayWnd* pWnd = SelWnd())
        pWnd->SetColor(nBrightness, nContrast, nSaturation, nHue);
}

void CDlgShow::GetColor(int* pnBrightness, int* pnContrast, int* pnSaturation, int* pnHue) {
    if (CPlayWnd* pWnd = SelWnd())
        pWnd->GetColor(pnBrightness, pnContrast, pnSaturation, pnHue);
}

bool CDlgShow::SetRotateAngle(int nAngle) {
    CPlayWnd* pWnd = SelWnd();
    return pWnd ? pWnd->SetRotateAngle(nAngle) : false;
}

int CDlgShow::GetRotateAngle() {
    CPlayWnd* pWnd = SelWnd();
    return pWnd ? pWnd->GetRotateAngle() : -1;
}

bool CDlgShow::SetFlip(uint nFlip) {
    CPlayWnd* pWnd = SelWnd();
    return pWnd ? pWnd->SetFlip(nFlip) : false;
}

uint CDlgShow::GetFlip() {
    CPlayWnd* pWnd = SelWnd();
    return pWnd ? pWnd->GetFlip() : 0;
}

bool CDlgShow::SetImageScaleMode(int nMode) {
    CPlayWnd* pWnd = SelWnd();
    return pWnd ? pWnd->SetImageScaleMode(nMode) : false;
}

int CDlgShow::GetImageScaleMode() {
    CPlayWnd* pWnd = SelWnd();
    return pWnd ? pWnd->GetImageScaleMode() : -1;
}

bool CDlgShow::SetDisplayPercentMode(int nMode) {
    CPlayWnd* pWnd = SelWnd();
    return pWnd ? pWnd->SetDisplayPercentMode(nMode) : false;
}

int CDlgShow::GetDisplayPercentMode() {
    CPlayWnd* pWnd = SelWnd();
    return pWnd ? pWnd->GetDisplayPercentMode() : -1;
}

bool CDlgShow::RenderPrivateData(int i, uint nType, bool bOn) {
    return ValidIndex(i) ? m_pPlayWnd[i]->RenderPrivateData(nType, bOn) : false;
}

uint CDlgShow::GetPrivateDataMask() {
    CPlayWnd* pWnd = SelWnd();
    return pWnd ? pWnd->GetPrivateDataMask() : 0;
}

bool CDlgShow::SetMotionFlow(int nMode) {
    CPlayWnd* pWnd = SelWnd();
    return pWnd ? pWnd->SetMotionFlow(nMode) : false;
}

int CDlgShow::GetMotionFlow() {
    CPlayWnd* pWnd = SelWnd();
    return pWnd ? pWnd->GetMotionFlow() : -1;
}

bool CDlgShow::SetPartZoom(bool bOn) {
    CPlayWnd* pWnd = SelWnd();
    return pWnd ? pWnd->SetPartZoom(bOn) : false;
}

bool CDlgShow::IsPartZoom() {
    CPlayWnd* pWnd = SelWnd();
    return pWnd ? pWnd->IsPartZoom() : false;
}
