#pragma once

#include <QString>

#include <cstdint>

#include "CustomDialog.h"
#include "IObserverBase.h"
#include "StreamInfo.h"

class QGridLayout;
class QLabel;
class QPixmap;
class QPushButton;

// What is known about the file of the selected window: its picture, name,
// length, size, container, codecs, resolution, frame rate and path, and below
// them what an investigator asks next: bit rate, global time range, whether
// it is encrypted and how many damaged pictures the decoder has met so far.
// Container and codecs come from the file's headers, resolution and frame
// rate from the play window as decoded so far. Built anew for each display;
// the values do not change while it is open.
class CFileInfoDlg : public CustomDialog, public IObserverBase {
    Q_OBJECT

public:
    explicit CFileInfoDlg(QWidget* pParent = nullptr);
    ~CFileInfoDlg() override;

    bool Init();
    // Fills the values. False for a null record or a file that cannot be
    // analysed: the values then stay empty, and the dialog is shown all the same.
    bool SetFileInfo(StreamInfo* pInfo, unsigned nFileTime, QPixmap* pThumb);
    // Pictures the decoder concealed damage in, as the window counted them.
    void SetDamagedFrames(unsigned nFrames);

    // Texts of the codes of _FA_FILE_INFO_; empty for a code not listed.
    static QString SystemFormatText(uint32_t nCode);
    static QString VideoFormatText(uint32_t nCode);
    static QString AudioFormatText(uint32_t nCode);
    // "%.2f MB" from 1 MiB, "%.2f KB" from 1 KiB, else "%d B"; no gigabyte step.
    static QString DiskSizeText(unsigned long long nBytes);
    // "hh:mm:ss" of a play time in seconds.
    static QString FileTimeText(unsigned nSeconds);
    // The number, or the sentence for a rate below 1 fps.
    static QString FrameRateText(int nFrameRate);

    void SkinChanged() override;

private:
    void SetupUI() override;
    void ReTranslateUI() override;
    void InitBkgs() override;
    void ConnectSignals() override;
    QLabel* AddRow(QGridLayout* pGrid, QLabel** ppName, const char* szName, const char* szValue);

    QLabel* m_pLabelTitle = nullptr;
    QPushButton* m_pBtnClose = nullptr;
    QLabel* m_pLabelThumb = nullptr;
    QLabel* m_pLabelValue_FileName = nullptr;
    QLabel* m_pLabelValue_FileTime = nullptr;
    QLabel* m_pLabelValue_FileDiskSize = nullptr;
    QLabel* m_pLabelName_FileType = nullptr;
    QLabel* m_pLabelValue_FileType = nullptr;
    QLabel* m_pLabelName_Resolution = nullptr;
    QLabel* m_pLabelValue_Resolution = nullptr;
    QLabel* m_pLabelName_VideoType = nullptr;
    QLabel* m_pLabelValue_VideoType = nullptr;
    QLabel* m_pLabelName_FrameRate = nullptr;
    QLabel* m_pLabelValue_FrameRate = nullptr;
    QLabel* m_pLabelName_SoundType = nullptr;
    QLabel* m_pLabelValue_SoundType = nullptr;
    QLabel* m_pLabelName_FilePath = nullptr;
    QLabel* m_pLabelValue_FilePath = nullptr;
    QLabel* m_pLabelName_BitRate = nullptr;
    QLabel* m_pLabelValue_BitRate = nullptr;
    QLabel* m_pLabelName_GlobalTime = nullptr;
    QLabel* m_pLabelValue_GlobalTime = nullptr;
    QLabel* m_pLabelName_Encrypted = nullptr;
    QLabel* m_pLabelValue_Encrypted = nullptr;
    QLabel* m_pLabelName_Damaged = nullptr;
    QLabel* m_pLabelValue_Damaged = nullptr;
};
