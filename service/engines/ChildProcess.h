#pragma once

#include "base/Result.h"

#include <memory>
#include <string>
#include <vector>

#include <boost/asio/posix/stream_descriptor.hpp>

namespace lingrelay::service {

/// A program with pipes to its standard input and output; it inherits nothing else, and speaks UTF-8
/// whatever the user's locale is. Its executor only.
///
/// It leads a process group of its own, which is killed and reaped with this object.
class ChildProcess {
public:
    using Pipe = boost::asio::posix::stream_descriptor;

    /// `arguments[0]` is looked for in PATH.
    static Result<std::unique_ptr<ChildProcess>> start(
        boost::asio::any_io_executor executor, std::vector<std::string> const& arguments);
    ~ChildProcess();
    ChildProcess(ChildProcess const&) = delete;
    ChildProcess& operator=(ChildProcess const&) = delete;

    Pipe& input() { return m_input; }
    Pipe& output() { return m_output; }
    int id() const { return m_process; }

private:
    ChildProcess(boost::asio::any_io_executor executor, int process, int input, int output);

    int m_process;
    Pipe m_input;
    Pipe m_output;
};

} // namespace lingrelay::service
