#include <unistd.h>

#include <algorithm>
#include <array>
#include <boost/asio/post.hpp>
#include <boost/asio/write.hpp>
#include <boost/beast/core/flat_buffer.hpp>
#include <boost/beast/http/buffer_body.hpp>
#include <boost/beast/http/parser.hpp>
#include <boost/beast/http/read.hpp>
#include <boost/beast/http/serializer.hpp>
#include <boost/beast/http/write.hpp>
#include <boost/beast/websocket/rfc6455.hpp>
#include <optional>
#include <string>
#include <utility>

#include "simulator/server/http/Network.h"

namespace vecamera::simulator {
namespace {

namespace asio = boost::asio;
namespace beast = boost::beast;
namespace http = beast::http;
using Error = boost::system::error_code;
using Parser = http::request_parser<http::buffer_body>;

constexpr std::size_t kPiece = 65536;

Method methodOf(http::verb verb) {
  switch (verb) {
    case http::verb::get:
    case http::verb::head: return Method::get;
    case http::verb::post: return Method::post;
    default: return Method::other;
  }
}

/// Nothing for a head in which a name that decides something stands twice or is missing.
std::optional<Request> requestOf(const Parser::value_type& head) {
  const auto field = [&head](http::field name) { return std::string(head[name]); };
  if (head.count(http::field::host) != 1 || head.count(http::field::origin) > 1)
    return std::nullopt;
  Request request;
  request.method = methodOf(head.method());
  request.target = std::string(head.target());
  request.host = field(http::field::host);
  request.origin = field(http::field::origin);
  request.cookie = field(http::field::cookie);
  request.ifNoneMatch = field(http::field::if_none_match);
  request.range = field(http::field::range);
  request.isWebSocket = beast::websocket::is_upgrade(head);
  return request;
}

std::uint64_t sizeOf(const Response& response) {
  if (const auto* file = std::get_if<OpenedFile>(&response.body)) return file->bytes;
  if (const auto* text = std::get_if<std::string>(&response.body)) return text->size();
  return std::get<std::string_view>(response.body).size();
}

const std::string* headerOf(const Response& response, std::string_view name) {
  for (const auto& [key, value] : response.headers)
    if (key == name) return &value;
  return nullptr;
}

class HttpConnection : public std::enable_shared_from_this<HttpConnection> {
 public:
  HttpConnection(beast::tcp_stream stream, Site& site, Network& network)
      : stream_(std::move(stream)),
        site_(site),
        network_(network),
        count_(std::make_unique<ConnectionCount>(network)) {}

  void readHead() {
    parser_.emplace();
    parser_->header_limit(static_cast<std::uint32_t>(network_.limits.headerBytes));
    parser_->body_limit(network_.limits.bodyBytes);
    request_ = Request();
    // For the whole head, so that one that trickles in is given up too.
    stream_.expires_after(network_.limits.headTime);
    http::async_read_header(
        stream_, buffer_, *parser_,
        [self = shared_from_this()](Error error, std::size_t) { self->headRead(error); });
  }

 private:
  void headRead(Error error) {
    if (error == http::error::body_limit) return refuseBody();
    if (error == http::error::header_limit)
      return refuse(431, "the head of the request is too long");
    if (error.category() == http::make_error_code(http::error::bad_method).category() &&
        error != http::error::end_of_stream && error != http::error::partial_message)
      return refuse(400, "this is no request");
    if (error) return close();
    auto request = requestOf(parser_->get());
    if (!request) return refuse(400, "a request has one \"Host\" and at most one \"Origin\"");
    request_ = *std::move(request);
    std::visit([this](auto&& reaction) { carryOut(std::move(reaction)); }, site_.react(request_));
  }

  /// Answers a request that the site does not get to see.
  void refuse(unsigned status, std::string_view why) {
    isLast_ = true;
    respond(failure(status, why));
  }

  void refuseBody() {
    const auto most = network_.limits.bodyBytes >> 20U;
    refuse(413, "a body has at most " + std::to_string(most) + " MiB");
  }

  void carryOut(Response response) { respond(std::move(response)); }

  void carryOut(SlowResponse work) {
    // Nothing limits the work but its own nature.
    stream_.expires_never();
    asio::post(network_.workers, [self = shared_from_this(), work = std::move(work)]() mutable {
      auto response = std::make_shared<Response>(work());
      work = nullptr;
      asio::post(self->network_.io, [self, response] { self->respond(std::move(*response)); });
    });
  }

  void carryOut(std::unique_ptr<Upload> upload) {
    upload_ = std::move(upload);
    piece_.resize(kPiece);
    readPiece();
  }

  void carryOut(std::shared_ptr<MessageReceiver> receiver) {
    RequestHead head;
    static_cast<RequestHead::header_type&>(head) = parser_->get().base();
    serveWebSocket(std::move(stream_), head, std::move(receiver), network_, std::move(count_));
  }

  void readPiece() {
    if (parser_->is_done()) return uploadRead();
    auto& body = parser_->get().body();
    body.data = piece_.data();
    body.size = piece_.size();
    stream_.expires_after(network_.limits.pieceTime);
    http::async_read(
        stream_, buffer_, *parser_,
        [self = shared_from_this()](Error error, std::size_t) { self->pieceRead(error); });
  }

  void pieceRead(Error error) {
    if (error == http::error::body_limit) {
      upload_.reset();
      return refuseBody();
    }
    if (error && error != http::error::need_buffer) {
      upload_.reset();
      return close();
    }
    const auto bytes = piece_.size() - parser_->get().body().size;
    if (!upload_->write({piece_.data(), bytes})) return uploadRead();
    readPiece();
  }

  void uploadRead() {
    auto response = upload_->finish();
    upload_.reset();
    respond(std::move(response));
  }

  /// Puts what the request's headers ask for on top of the site's answer, and sends it.
  void respond(Response response) {
    response_ = std::move(response);
    auto status = response_.status;
    part_ = {0, sizeOf(response_)};
    head_ = {};
    const auto* tag = headerOf(response_, "ETag");
    if (status == 200 && tag != nullptr && request_.ifNoneMatch.find(*tag) != std::string::npos) {
      status = 304;
      part_.length = 0;
    } else if (std::holds_alternative<OpenedFile>(response_.body) && status == 200) {
      head_.set(http::field::accept_ranges, "bytes");
      if (const auto range = parseRange(request_.range, part_.length)) {
        head_.set(http::field::content_range, "bytes " + std::to_string(range->begin) + "-" +
                                                  std::to_string(range->begin + range->length - 1) +
                                                  "/" + std::to_string(part_.length));
        status = 206;
        part_ = *range;
      }
    }
    head_.result(status);
    head_.version(11);
    for (const auto& [name, value] : response_.headers) head_.insert(name, value);
    for (const auto& [name, value] : site_.commonHeaders(request_)) head_.insert(name, value);
    head_.set("X-Content-Type-Options", "nosniff");
    head_.set("Referrer-Policy", "no-referrer");
    isLast_ = isLast_ || !parser_->is_done() || !parser_->keep_alive();
    head_.keep_alive(!isLast_);
    if (status != 304) head_.content_length(part_.length);
    if (parser_->get().method() == http::verb::head) part_.length = 0;
    sendHead();
  }

  void sendHead() {
    serializer_.emplace(head_);
    stream_.expires_after(network_.limits.pieceTime);
    http::async_write_header(stream_, *serializer_,
                             [self = shared_from_this()](Error error, std::size_t) {
                               if (error) return self->close();
                               self->sendPiece();
                             });
  }

  void sendPiece() {
    if (part_.length == 0) return sent();
    const auto wanted = static_cast<std::size_t>(std::min<std::uint64_t>(part_.length, kPiece));
    const char* bytes = nullptr;
    if (const auto* file = std::get_if<OpenedFile>(&response_.body)) {
      piece_.resize(kPiece);
      const auto read =
          pread(file->descriptor.number(), piece_.data(), wanted, static_cast<off_t>(part_.begin));
      // A file that has shrunk: the length was promised, so only the end of the connection tells.
      if (read != static_cast<ssize_t>(wanted)) return close();
      bytes = piece_.data();
    } else if (const auto* text = std::get_if<std::string>(&response_.body)) {
      bytes = text->data() + part_.begin;
    } else {
      bytes = std::get<std::string_view>(response_.body).data() + part_.begin;
    }
    part_.begin += wanted;
    part_.length -= wanted;
    stream_.expires_after(network_.limits.pieceTime);
    asio::async_write(stream_, asio::buffer(bytes, wanted),
                      [self = shared_from_this()](Error error, std::size_t) {
                        if (error) return self->close();
                        self->sendPiece();
                      });
  }

  void sent() {
    response_ = Response();
    if (!isLast_) return readHead();
    Error ignored;
    stream_.socket().shutdown(asio::ip::tcp::socket::shutdown_send, ignored);
    // Closing with bytes unread would take the answer away from the browser again.
    stream_.expires_after(std::chrono::seconds(2));
    drain(kPiece * 64);
  }

  void drain(std::size_t most) {
    piece_.resize(kPiece);
    stream_.async_read_some(asio::buffer(piece_),
                            [self = shared_from_this(), most](Error error, std::size_t bytes) {
                              if (error || bytes >= most) return self->close();
                              self->drain(most - bytes);
                            });
  }

  void close() { stream_.close(); }

  beast::tcp_stream stream_;
  Site& site_;
  Network& network_;
  std::unique_ptr<ConnectionCount> count_;
  beast::flat_buffer buffer_;
  std::optional<Parser> parser_;
  Request request_;
  std::unique_ptr<Upload> upload_;
  std::vector<char> piece_;
  Response response_;
  /// What is still to be sent of the body.
  ByteRange part_;
  http::response<http::empty_body> head_;
  std::optional<http::response_serializer<http::empty_body>> serializer_;
  /// The connection ends after this answer.
  bool isLast_ = false;
};

}  // namespace

void serveHttp(beast::tcp_stream stream, Site& site, Network& network) {
  std::make_shared<HttpConnection>(std::move(stream), site, network)->readHead();
}

}  // namespace vecamera::simulator
