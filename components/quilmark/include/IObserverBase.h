#pragma once

// A window that follows the skin. It registers at SkinManager when it is set up
// (SkinManager::AddObserver, which calls SkinChanged() at once) and leaves at its
// destruction (SkinManager::DelObserver). Each ChangeSkin() calls SkinChanged() on
// every registered observer, on the GUI thread.
class IObserverBase {
public:
    virtual ~IObserverBase() = default;

    // The skin notice: read style sheets, colours, fonts and pictures again
    // from SkinManager by resource number and index.
    virtual void SkinChanged() = 0;
};
