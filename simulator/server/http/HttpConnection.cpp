#include <unistd.h>

#include <algorithm>
#include <boost/asio/post.hpp>
#include <boost/asio/write.hpp>
#include <boost/beast/http/read.hpp>
#include <boost/beast/http/serializer.hpp>
#include <boost/beast/http/write.hpp>
#include <boost/beast/websocket/rfc6455.hpp>
#include <exception>
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

constexpr std::size_t bufferBytes = 65536;

Method methodOf(http::verb verb) {
  switch (verb) {
    case http::verb::get:
    case http::verb::head: return Method::get;
    case http::verb::post: return Method::post;
    default: return Method::other;
  }
}

/// Nothing where "Host" is missing or repeated, or "Origin" repeated.
std::optional<Request> requestOf(const RequestParser::value_type& message) {
  const auto field = [&message](http::field name) { return std::string(message[name]); };
  if (message.count(http::field::host) != 1 || message.count(http::field::origin) > 1)
    return std::nullopt;
  std::string protocols;
  const auto offers = message.equal_range(http::field::sec_websocket_protocol);
  for (auto offer = offers.first; offer != offers.second; ++offer)
    protocols += (protocols.empty() ? "" : ",") + std::string(offer->value());
  return Request{.method = methodOf(message.method()),
                 .target = std::string(message.target()),
                 .host = field(http::field::host),
                 .origin = field(http::field::origin),
                 .cookie = field(http::field::cookie),
                 .ifNoneMatch = field(http::field::if_none_match),
                 .range = field(http::field::range),
                 .webSocketProtocols = std::move(protocols),
                 .accept = field(http::field::accept),
                 .fetchDestination = std::string(message["Sec-Fetch-Dest"]),
                 .isWebSocket = beast::websocket::is_upgrade(message)};
}

/// Of a response whose body is no file.
std::string_view textOf(const Response& response) {
  if (const auto* text = std::get_if<std::string>(&response.body)) return *text;
  return std::get<std::string_view>(response.body);
}

const std::string* fieldOf(const Response& response, std::string_view name) {
  for (const auto& [key, value] : response.fields)
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

  void readHeader() {
    parser_.emplace();
    parser_->header_limit(static_cast<std::uint32_t>(network_.limits.headerBytes));
    // The content of an upload has a limit; what is forwarded is not kept.
    parser_->body_limit(anyLength);
    request_ = Request();
    // For the whole header section, so that one that trickles in is given up too.
    stream_.expires_after(network_.limits.headerTimeout);
    http::async_read_header(
        stream_, buffer_, *parser_,
        [self = shared_from_this()](Error error, std::size_t) { self->onHeader(error); });
  }

 private:
  void onHeader(Error error) {
    if (error == http::error::header_limit)
      return refuse(431, "the head of the request is too long");
    if (error.category() == http::make_error_code(http::error::bad_method).category() &&
        error != http::error::end_of_stream && error != http::error::partial_message)
      return refuse(400, "this is no request");
    if (error) return close();
    auto request = requestOf(parser_->get());
    if (!request) return refuse(400, "a request has one \"Host\" and at most one \"Origin\"");
    request_ = *std::move(request);
    std::visit([this](auto&& reaction) { respond(std::move(reaction)); }, site_.react(request_));
  }

  /// Responds to a request that the site does not get to see.
  void refuse(unsigned status, std::string_view message) {
    isLast_ = true;
    respond(errorResponse(status, message));
  }

  void refuseContent() {
    const auto max = network_.maxBodyBytes >> 20U;
    refuse(413, "a body has at most " + std::to_string(max) + " MiB");
  }

  void respond(DeferredResponse work) {
    // The work may take as long as it needs.
    stream_.expires_never();
    asio::post(network_.workers, [self = shared_from_this(), work = std::move(work)]() mutable {
      auto response = std::make_shared<Response>();
      try {
        *response = work();
      } catch (const std::exception& thrown) {
        *response = errorResponse(500, thrown.what());
      }
      work = nullptr;
      asio::post(self->network_.io, [self, response] { self->respond(std::move(*response)); });
    });
  }

  void respond(std::unique_ptr<Upload> upload) {
    if (parser_->content_length() > network_.maxBodyBytes) return refuseContent();
    parser_->body_limit(network_.maxBodyBytes);
    upload_ = std::move(upload);
    readPiece();
  }

  void respond(std::shared_ptr<MessageHandler> handler) {
    Handshake handshake;
    static_cast<Handshake::header_type&>(handshake) = parser_->get().base();
    serveWebSocket(std::move(stream_), handshake, std::move(handler), network_, std::move(count_));
  }

  void respond(std::unique_ptr<Forwarding> forwarding) {
    forward({stream_, buffer_, *parser_,
             [self = shared_from_this()](std::variant<AfterForwarding, Response> end) {
               if (auto* response = std::get_if<Response>(&end))
                 return self->respond(std::move(*response));
               switch (std::get<AfterForwarding>(end)) {
                 case AfterForwarding::proceed: return self->readHeader();
                 case AfterForwarding::finish: return self->finish();
                 case AfterForwarding::abort: return self->close();
               }
             }},
            std::move(forwarding), network_);
  }

  void readPiece() {
    if (parser_->is_done()) return respond(std::exchange(upload_, nullptr)->finish());
    auto& body = parser_->get().body();
    body.data = piece_.data();
    body.size = piece_.size();
    stream_.expires_after(network_.limits.bodyTimeout);
    http::async_read(
        stream_, buffer_, *parser_,
        [self = shared_from_this()](Error error, std::size_t) { self->onPiece(error); });
  }

  void onPiece(Error error) {
    if (error && error != http::error::need_buffer) {
      upload_.reset();
      return error == http::error::body_limit ? refuseContent() : close();
    }
    const auto bytes = piece_.size() - parser_->get().body().size;
    if (auto written = upload_->write({piece_.data(), bytes}); !written) {
      upload_.reset();
      return respond(std::move(written).error());
    }
    readPiece();
  }

  /// Applies the request's "If-None-Match" and "Range" fields to the site's response and sends it.
  void respond(Response response) {
    response_ = std::move(response);
    auto status = response_.status;
    const auto* file = std::get_if<ConfinedFile>(&response_.body);
    part_ = {0, file != nullptr ? file->bytes : textOf(response_).size()};
    header_ = {};
    const auto* tag = fieldOf(response_, "ETag");
    if (status == 200 && tag != nullptr && request_.ifNoneMatch.find(*tag) != std::string::npos) {
      status = 304;
      part_.length = 0;
    } else if (file != nullptr && status == 200) {
      header_.set(http::field::accept_ranges, "bytes");
      if (const auto range = parseRange(request_.range, part_.length)) {
        header_.set(http::field::content_range,
                    "bytes " + std::to_string(range->begin) + "-" +
                        std::to_string(range->begin + range->length - 1) + "/" +
                        std::to_string(part_.length));
        status = 206;
        part_ = *range;
      }
    }
    header_.result(status);
    header_.version(11);
    for (const auto& [name, value] : response_.fields) header_.insert(name, value);
    for (const auto& [name, value] : site_.commonFields(request_)) header_.insert(name, value);
    header_.set("X-Content-Type-Options", "nosniff");
    header_.set("Referrer-Policy", "no-referrer");
    isLast_ = isLast_ || !parser_->is_done() || !parser_->keep_alive();
    header_.keep_alive(!isLast_);
    if (status != 304) header_.content_length(part_.length);
    if (parser_->get().method() == http::verb::head) part_.length = 0;
    serializer_.emplace(header_);
    stream_.expires_after(network_.limits.bodyTimeout);
    http::async_write_header(stream_, *serializer_,
                             [self = shared_from_this()](Error error, std::size_t) {
                               if (error) return self->close();
                               self->sendPiece();
                             });
  }

  void sendPiece() {
    if (part_.length == 0) return sent();
    const auto wanted =
        static_cast<std::size_t>(std::min<std::uint64_t>(part_.length, bufferBytes));
    const char* bytes = piece_.data();
    if (const auto* file = std::get_if<ConfinedFile>(&response_.body)) {
      const auto read =
          pread(file->descriptor.number(), piece_.data(), wanted, static_cast<off_t>(part_.begin));
      // The file has shrunk. Its length was sent, so closing is the only way to report that.
      if (read != static_cast<ssize_t>(wanted)) return close();
    } else {
      bytes = textOf(response_).data() + part_.begin;
    }
    part_.begin += wanted;
    part_.length -= wanted;
    stream_.expires_after(network_.limits.bodyTimeout);
    asio::async_write(stream_, asio::buffer(bytes, wanted),
                      [self = shared_from_this()](Error error, std::size_t) {
                        if (error) return self->close();
                        self->sendPiece();
                      });
  }

  void sent() {
    response_ = Response();
    if (!isLast_) return readHeader();
    finish();
  }

  /// Ends a connection whose last response is sent.
  void finish() {
    Error ignored;
    stream_.socket().shutdown(asio::ip::tcp::socket::shutdown_send, ignored);
    // Closing with bytes unread would take the response away from the browser again.
    stream_.expires_after(std::chrono::seconds(2));
    drain(bufferBytes * 64);
  }

  void drain(std::size_t max) {
    stream_.async_read_some(asio::buffer(piece_),
                            [self = shared_from_this(), max](Error error, std::size_t bytes) {
                              if (error || bytes >= max) return self->close();
                              self->drain(max - bytes);
                            });
  }

  void close() { stream_.close(); }

  beast::tcp_stream stream_;
  Site& site_;
  Network& network_;
  std::unique_ptr<ConnectionCount> count_;
  beast::flat_buffer buffer_;
  std::optional<RequestParser> parser_;
  Request request_;
  std::unique_ptr<Upload> upload_;
  std::vector<char> piece_ = std::vector<char>(bufferBytes);
  Response response_;
  /// What is still to be sent of the body.
  ByteRange part_;
  http::response<http::empty_body> header_;
  std::optional<http::response_serializer<http::empty_body>> serializer_;
  /// The connection is closed after this response.
  bool isLast_ = false;
};

}  // namespace

void serveHttp(beast::tcp_stream stream, Site& site, Network& network) {
  std::make_shared<HttpConnection>(std::move(stream), site, network)->readHeader();
}

}  // namespace vecamera::simulator
