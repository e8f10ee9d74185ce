// The converter's window: the recording, the output file, the encoder's
// preset and quality, an optional picture size.
#pragma once

#include "ToolWindow.h"

class QComboBox;
class QLineEdit;
class QSpinBox;

class ConvertWindow : public ToolWindow {
    Q_OBJECT
public:
    explicit ConvertWindow(QWidget* pParent = nullptr);

    // The recording to convert (the player's file); the output follows it.
    void SetInput(const QString& strPath);

protected:
    QString TitleText() const override;
    void BuildContent(QVBoxLayout* pContent) override;
    void On_StartClicked() override;

private:
    void On_BrowseInput();
    void On_BrowseOutput();

    QLineEdit* m_pEditIn = nullptr;
    QLineEdit* m_pEditOut = nullptr;
    QComboBox* m_pComboPreset = nullptr;
    QSpinBox* m_pSpinCrf = nullptr;
    QLineEdit* m_pEditSize = nullptr;
};
