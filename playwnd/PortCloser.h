#pragma once

#include <cstdint>

// Closes engine ports away from the GUI thread. Stopping a port joins its
// demux, decode, render and index threads and closes its sound device, tens of
// milliseconds each; a window that replaces its file hands the old port here
// and goes on at once.
//
// A port handed over may still call the callbacks registered on it until its
// close has ended: the caller unregisters them first and drops what still
// comes by the port number. WaitIdle is for the owners of those callbacks
// before they go.
class PortCloser {
public:
    // Stops, closes and frees nPort on a worker thread. Any thread.
    static void CloseLater(int32_t nPort);
    // Waits until every port handed over so far is freed, at most nTimeoutMs;
    // false when some close was still under way. Any thread but a worker of
    // this class.
    static bool WaitIdle(int nTimeoutMs);
    // Ports handed over and not yet freed.
    static int Pending();
};
