#include "collector/Response.h"

#include <algorithm>

namespace trovix::collector {
namespace {

std::string headOf(const Reply& reply, std::string_view reason, bool keepAlive) {
  std::string head = "HTTP/1.1 " + std::to_string(reply.status) + " ";
  head.append(reason).append("\r\n");
  for (const auto& [name, value] : reply.headers) head.append(name).append(": ").append(value).append("\r\n");
  if (reply.automaticLength)
    head.append("Content-Length: ").append(std::to_string(reply.body.size() + reply.filler)).append("\r\n");
  if (!keepAlive) head.append("Connection: close\r\n");
  return head.append("\r\n");
}

}  // namespace

Response::Response(Reply reply, std::string_view reason, bool keepAlive, bool withBody)
    : keepAlive_(keepAlive && !reply.cutAfter), reset_(reply.reset) {
  if (!reply.raw) {
    const bool framed = findHeader(reply.headers, "Content-Length") != nullptr ||
                        findHeader(reply.headers, "Transfer-Encoding") != nullptr;
    // A body without a length ends with its connection.
    if (!framed && !reply.automaticLength) keepAlive_ = false;
    if (framed) reply.automaticLength = false;
    // A connection that is going to be cut does not say so.
    given_ = headOf(reply, reason, keepAlive_ || reply.cutAfter);
  }
  end_ = given_.size();
  if (withBody) {
    given_ += reply.body;
    end_ = given_.size() + reply.filler;
  }
  if (reply.cutAfter) end_ = std::min(end_, *reply.cutAfter);
}

std::string_view Response::slice(std::uint64_t position, std::uint64_t limit) const {
  static const std::string filler(std::size_t{64} * 1024, 'x');
  if (position >= end_) return {};
  const std::uint64_t wanted = std::min(limit, end_ - position);
  if (position < given_.size())
    return std::string_view(given_).substr(position, std::min<std::uint64_t>(wanted, given_.size() - position));
  return std::string_view(filler).substr(0, std::min<std::uint64_t>(wanted, filler.size()));
}

}  // namespace trovix::collector
