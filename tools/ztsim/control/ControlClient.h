#ifndef ZTSIM_CONTROLCLIENT_H
#define ZTSIM_CONTROLCLIENT_H

namespace ztsim {

/// "ztsim ctl": tells a device, which another ztsim simulates or this process is on, a command.
/// Takes what stands behind "ctl", and returns the exit code.
int runControlClient(int argc, char** argv);

} // namespace ztsim

#endif
