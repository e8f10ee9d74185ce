#pragma once

#include "CustomDialog.h"
#include "IObserverBase.h"

class QLabel;
class QPushButton;
class QSlider;

// Brightness, contrast, saturation and hue of the selected window, live: every
// move of a slider sends all four values (0..128, 64 neutral) through
// Sig_AdjustColor; the receiver applies them. There is no OK or Cancel: what
// was sent stays applied when the dialog closes.
//
// Object names (skin resource 8 and tests): m_pLabTitle, m_pBtnClose, the rows'
// m_pSlider_<Name>, m_pLabelValue_<Name>, m_pLabelName_<Name> with Name one of
// Brightness, Contrast, Saturation, Hue, and m_pBtnReset.
class ColorAdjustDlg : public CustomDialog, public IObserverBase {
    Q_OBJECT
public:
    static constexpr int COLOR_MIN = 0;
    static constexpr int COLOR_MAX = 128;
    static constexpr int COLOR_NEUTRAL = 64;

    explicit ColorAdjustDlg(QWidget* pParent = nullptr);
    ~ColorAdjustDlg() override;

    // Builds the dialog, connects, sets the texts and joins the skin observers.
    bool Init();
    // Moves the four sliders (each move emits as a user's would), then writes
    // the four value labels.
    void SetColorValues(int nBrightness, int nContrast, int nSaturation, int nHue);

    void SetupUI() override;
    void ReTranslateUI() override;
    void ConnectSignals() override;
    void SkinChanged() override;

signals:
    void Sig_AdjustColor(int nBrightness, int nContrast, int nSaturation, int nHue);

public slots:
    void On_ChangeBrightness(int nValue);
    void On_ChangeConstract(int nValue);
    void On_ChangeSaturation(int nValue);
    void On_ChangeHue(int nValue);
    // All four back to 64, and one signal with four 64s.
    void On_Reset();

protected:
    void changeEvent(QEvent* pEvent) override;

private:
    QSlider* MakeRow(const char* szName, QLabel** ppName, QLabel** ppValue);
    // Writes the label of the moved slider and sends the four values.
    void EmitValues(QLabel* pValueLabel, int nValue);

    QLabel* m_pLabTitle = nullptr;
    QPushButton* m_pBtnClose = nullptr;
    QSlider* m_pSlider_Brightness = nullptr;
    QSlider* m_pSlider_Contrast = nullptr;
    QSlider* m_pSlider_Saturation = nullptr;
    QSlider* m_pSlider_Hue = nullptr;
    QLabel* m_pLabelValue_Brightness = nullptr;
    QLabel* m_pLabelValue_Contrast = nullptr;
    QLabel* m_pLabelValue_Saturation = nullptr;
    QLabel* m_pLabelValue_Hue = nullptr;
    QLabel* m_pLabelName_Brightness = nullptr;
    QLabel* m_pLabelName_Contrast = nullptr;
    QLabel* m_pLabelName_Saturation = nullptr;
    QLabel* m_pLabelName_Hue = nullptr;
    QPushButton* m_pBtnReset = nullptr;
    bool m_bInited = false;
    bool m_bObserving = false;
};
