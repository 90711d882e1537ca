#pragma once

#include "base/async/Scheduler.h"

#include <boost/asio/io_context.hpp>
#include <boost/asio/strand.hpp>

namespace lingrelay {

using Strand = boost::asio::strand<boost::asio::io_context::executor_type>;

/// The strand that the scheduler runs on if it is one of this context, else a new one. A socket that works on the
/// strand of its owner hands over messages without waking another thread.
Strand strandOf(Scheduler& scheduler, boost::asio::io_context& context);

} // namespace lingrelay
