#pragma once

#include <QString>

#include <cstdint>

#include "CustomDialog.h"

class QLabel;
class QPushButton;
class QKeyEvent;
class QWidget;

// The fisheye expansion: a modal dialog that plays one file on an engine port
// of its own and shows everything the lens sees as one panorama strip. The
// port lives from InitHalvane until the dialog ends (done) or goes away, so it
// is free again before exec() returns. GUI thread only.
//
// Use: Halvane dlg(pParent); InitHalvane(); StartPlay(...); exec().
class Halvane : public CustomDialog {
    Q_OBJECT

public:
    explicit Halvane(QWidget* pParent);
    ~Halvane() override;

    // Builds the widgets and takes an engine port; false when no port is free.
    bool InitHalvane();
    // Opens and plays strFilePath as a panorama. pHotKeys: nHotKeyNum key codes
    // in the order of the settings' hot key table (play or pause 3, snapshot 14,
    // exit 16 are used). nPrivateDataMask: the private data kinds to draw.
    // False when the file cannot be opened or played; the dialog then holds
    // nothing open.
    bool StartPlay(const QString& strFilePath, const QString& strCapPicFolder, int nCapPicSaveType,
                   int* pHotKeys, int nHotKeyNum, bool bEncrypted, const QString& strDecryptKey,
                   uint nPrivateDataMask);

    // The dialog's engine port, -1 when it has none.
    int32_t Port() const { return m_nPort; }
    // TAVRIX_SR_EQUIRECT (the default) or TAVRIX_SR_CYLINDER.
    int Projection() const { return m_nProjection; }
    bool SetProjection(int nProjection);
    // A snapshot of the shown panorama into the capture folder; the file's path,
    // empty on failure.
    QString CapturePanorama();

    void SetupUI() override;
    void ReTranslateUI() override;
    void ConnectSignals() override;

public slots:
    void done(int nResult) override;
    bool On_PlayOrPause();

protected:
    void keyPressEvent(QKeyEvent* pEvent) override;

private:
    // Stops, closes and frees the port; safe to call more than once.
    void ReleasePort();

    int32_t m_nPort = -1;
    bool m_bOpen = false;
    bool m_bPaused = false;
    int m_nProjection = 0;
    QString m_strFilePath;
    QString m_strCapPicFolder;
    int m_nCapPicSaveType = 1;
    int m_nKeyPlayOrPause = 0;
    int m_nKeyCapPic = 0;
    int m_nKeyExit = 0;

    QLabel* m_pLabTitle = nullptr;
    QPushButton* m_pBtnClose = nullptr;
    QWidget* m_pDisplayWnd = nullptr;
};
