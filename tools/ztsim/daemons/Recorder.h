#ifndef ZTSIM_RECORDER_H
#define ZTSIM_RECORDER_H

#include <string>

namespace ztsim {

/// Writes down what the clients say to the daemons, as a script that says the same again.
class Recorder {
public:
    /// Into an open file, or nowhere. The file becomes the recorder's.
    explicit Recorder(int file);
    ~Recorder();

    Recorder(const Recorder&) = delete;
    Recorder& operator=(const Recorder&) = delete;

    /// A line, with a time in seconds. One of what was not done, for that reason, is a comment.
    void write(double time, const std::string& command, const char* mishap);

private:
    void append(const std::string& line);

    int file;
};

} // namespace ztsim

#endif
