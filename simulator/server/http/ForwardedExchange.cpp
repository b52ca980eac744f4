#include <sys/socket.h>

#include <array>
#include <boost/asio/ip/tcp.hpp>
#include <boost/asio/write.hpp>
#include <boost/beast/http/chunk_encode.hpp>
#include <boost/beast/http/read.hpp>
#include <boost/beast/http/serializer.hpp>
#include <boost/beast/http/write.hpp>
#include <boost/beast/websocket/rfc6455.hpp>
#include <cerrno>
#include <optional>
#include <utility>

#include "simulator/server/http/ForwardedFields.h"
#include "simulator/server/http/HtmlInsertion.h"
#include "simulator/server/http/Network.h"

namespace vecamera::simulator {
namespace {

namespace asio = boost::asio;
namespace beast = boost::beast;
namespace http = beast::http;
using asio::ip::tcp;
using Error = boost::system::error_code;

constexpr std::size_t bufferBytes = 65536;
constexpr unsigned httpVersion = 11;

template <class Message>
void setFields(Message& message, const HeaderFields& fields) {
  for (const auto& [name, value] : fields) message.insert(name, value);
}

bool isHttp11(const RequestParser& parser) {
  return parser.get().version() >= httpVersion;
}

/// One request on its way to the upstream, and its response on its way back. The two directions run
/// beside each other, as a server may respond before it has the whole request.
class ForwardedExchange : public std::enable_shared_from_this<ForwardedExchange> {
 public:
  ForwardedExchange(BrowserSide browser, std::unique_ptr<Forwarding> forwarding, Network& network)
      : browser_(std::move(browser)),
        forwarding_(std::move(forwarding)),
        limits_(network.limits),
        isWebSocket_(beast::websocket::is_upgrade(browser_.parser.get())),
        upstream_(network.io),
        resolver_(network.io) {}

  void begin() {
    browser_.stream.expires_never();
    const auto& [host, port] = forwarding_->upstream();
    if (isLocalhost(host))
      // In the order in which browsers try them.
      return connect(std::array{tcp::endpoint(asio::ip::address_v6::loopback(), port),
                                tcp::endpoint(asio::ip::address_v4::loopback(), port)});
    resolver_.async_resolve(
        host, std::to_string(port),
        [self = shared_from_this()](Error error, const tcp::resolver::results_type& found) {
          if (error) return self->end(self->forwarding_->unreachable());
          self->connect(found);
        });
  }

 private:
  template <class Endpoints>
  void connect(const Endpoints& endpoints) {
    upstream_.expires_after(limits_.headerTimeout);
    upstream_.async_connect(endpoints, [self = shared_from_this()](Error error, const auto&) {
      if (error) return self->end(self->forwarding_->unreachable());
      Error ignored;
      self->upstream_.socket().set_option(tcp::no_delay(true), ignored);
      self->upstream_.expires_never();
      self->sendRequest();
      self->readResponse();
    });
  }

  // The request's direction.

  void sendRequest() {
    const auto& given = browser_.parser.get();
    request_.method_string(given.method_string());
    request_.target(given.target());
    request_.version(httpVersion);
    setFields(request_, forwarding_->requestFields(forwardedFields(given.base())));
    if (isWebSocket_) {
      request_.set(http::field::connection, "Upgrade");
      request_.set(http::field::upgrade, "websocket");
    } else {
      // A connection of its own for each request ends with its response, whatever that looks like.
      request_.set(http::field::connection, "close");
    }
    if (given.chunked())
      request_.set(http::field::transfer_encoding, "chunked");
    else if (const auto length = browser_.parser.content_length())
      request_.content_length(*length);
    requestSerializer_.emplace(request_);
    http::async_write_header(upstream_, *requestSerializer_,
                             [self = shared_from_this()](Error error, std::size_t) {
                               if (!error) self->readUpload();
                             });
  }

  void readUpload() {
    if (hasEnded_) return;
    if (browser_.parser.is_done()) return finishUpload();
    auto& body = browser_.parser.get().body();
    body.data = upload_.data();
    body.size = upload_.size();
    isBrowserRead_ = true;
    http::async_read_some(browser_.stream, browser_.buffer, browser_.parser,
                          [self = shared_from_this()](Error error, std::size_t) {
                            self->isBrowserRead_ = false;
                            if (self->hasEnded_) return self->giveBack();
                            if (error && error != http::error::need_buffer)
                              return self->end(AfterForwarding::abort);
                            self->sendUpload();
                          });
  }

  void sendUpload() {
    const auto bytes = upload_.size() - browser_.parser.get().body().size;
    if (bytes == 0) return readUpload();
    send(upstream_, asio::buffer(upload_.data(), bytes), browser_.parser.chunked(),
         [self = shared_from_this()](Error error, std::size_t) {
           // Where the upstream takes no more, its response says why.
           if (!error) self->readUpload();
         });
  }

  void finishUpload() {
    watchBrowser();
    if (browser_.parser.chunked())
      asio::async_write(upstream_, http::make_chunk_last(),
                        [self = shared_from_this()](Error, std::size_t) {});
  }

  /// Until the response is complete, a browser has nothing to say but that it has gone.
  void watchBrowser() {
    if (isWebSocket_) return;
    isBrowserRead_ = true;
    browser_.stream.socket().async_wait(
        tcp::socket::wait_read, [self = shared_from_this()](Error error) {
          self->isBrowserRead_ = false;
          if (self->hasEnded_) return self->giveBack();
          char next = 0;
          const auto handle = self->browser_.stream.socket().native_handle();
          const auto read = recv(handle, &next, 1, MSG_PEEK | MSG_DONTWAIT);
          const bool isNothingYet = read < 0 && (errno == EAGAIN || errno == EINTR);
          if (!error && isNothingYet) return self->watchBrowser();
          // A further request, which a browser may send ahead, is read when it is its turn.
          if (error || read <= 0) self->end(AfterForwarding::abort);
        });
  }

  // The response's direction.

  void readResponse() {
    parser_.emplace();
    parser_->header_limit(maxResponseHeaderBytes);
    parser_->body_limit(anyLength);
    if (browser_.parser.get().method() == http::verb::head) parser_->skip(true);
    http::async_read_header(upstream_, buffer_, *parser_,
                            [self = shared_from_this()](Error error, std::size_t) {
                              if (self->hasEnded_) return;
                              if (error) return self->end(self->forwarding_->withoutResponse());
                              self->onResponse();
                            });
  }

  void onResponse() {
    const auto status = parser_->get().result_int();
    const bool isInterim = status / 100 == 1;
    if (isInterim && status != 101) return sendInterim();
    if (isInterim && !isWebSocket_) return end(forwarding_->withoutResponse());
    auto fields = forwardedFields(parser_->get().base());
    HeaderFields sent;
    std::string insertion;
    if (isInterim) {
      sent = std::move(fields);
    } else {
      auto response = forwarding_->onResponse(status, std::move(fields));
      if (auto* own = std::get_if<Response>(&response)) return end(std::move(*own));
      sent = std::move(std::get<ForwardedResponse>(response).fields);
      insertion = std::move(std::get<ForwardedResponse>(response).insertion);
    }
    beginResponse();
    setFields(response_, sent);
    if (isInterim) {
      response_.set(http::field::connection, "Upgrade");
      response_.set(http::field::upgrade, "websocket");
    } else {
      setFraming(status, std::move(insertion));
    }
    sendHeader([this, isInterim] {
      if (isInterim) return tunnel();
      readDownload();
    });
  }

  /// The response's length, or another sign of its end.
  void setFraming(unsigned status, std::string insertion) {
    const auto length = parser_->get().find(http::field::content_length);
    const bool hasBody =
        browser_.parser.get().method() != http::verb::head && status != 204 && status != 304;
    const bool isLengthKept = insertion.empty();
    if (hasBody && !isLengthKept) insertion_.emplace(std::move(insertion));
    if (length != parser_->get().end() && isLengthKept)
      response_.set(http::field::content_length, length->value());
    else if (hasBody && isHttp11(browser_.parser))
      response_.chunked(true);
    else if (hasBody)
      isLast_ = true;
    // What is not uploaded yet would stand before the next request.
    isLast_ = isLast_ || !browser_.parser.keep_alive() || !browser_.parser.is_done();
    response_.keep_alive(!isLast_);
  }

  void beginResponse() {
    hasBegun_ = true;
    response_ = {};
    response_.version(httpVersion);
    response_.result(parser_->get().result_int());
    response_.reason(parser_->get().reason());
  }

  template <class Next>
  void sendHeader(Next next) {
    responseSerializer_.emplace(response_);
    http::async_write_header(
        browser_.stream, *responseSerializer_,
        [self = shared_from_this(), next = std::move(next)](Error error, std::size_t) {
          if (self->hasEnded_) return;
          if (error) return self->end(AfterForwarding::abort);
          next();
        });
  }

  /// "100 Continue" and its like, which stand before the response.
  void sendInterim() {
    if (!isHttp11(browser_.parser)) return readResponse();
    beginResponse();
    hasBegun_ = false;
    setFields(response_, forwardedFields(parser_->get().base()));
    sendHeader([this] { readResponse(); });
  }

  void readDownload() {
    if (parser_->is_done()) return finishDownload();
    auto& body = parser_->get().body();
    body.data = download_.data();
    body.size = download_.size();
    http::async_read_some(upstream_, buffer_, *parser_,
                          [self = shared_from_this()](Error error, std::size_t) {
                            if (self->hasEnded_) return;
                            if (error && error != http::error::need_buffer)
                              return self->end(AfterForwarding::abort);
                            self->sendDownload();
                          });
  }

  void sendDownload() {
    const std::string_view bytes(download_.data(), download_.size() - parser_->get().body().size);
    if (!insertion_) return sendPiece(bytes);
    inserted_ = insertion_->push(bytes);
    sendPiece(inserted_);
  }

  void sendPiece(std::string_view bytes) {
    if (bytes.empty()) return readDownload();
    send(browser_.stream, asio::buffer(bytes), response_.chunked(),
         [self = shared_from_this()](Error error, std::size_t) {
           if (self->hasEnded_) return;
           if (error) return self->end(AfterForwarding::abort);
           self->readDownload();
         });
  }

  void finishDownload() {
    if (insertion_) {
      inserted_ = insertion_->finish();
      insertion_.reset();
      return sendPiece(inserted_);
    }
    if (!response_.chunked()) return endComplete();
    asio::async_write(browser_.stream, http::make_chunk_last(),
                      [self = shared_from_this()](Error error, std::size_t) {
                        if (self->hasEnded_) return;
                        if (error) return self->end(AfterForwarding::abort);
                        self->endComplete();
                      });
  }

  void endComplete() { end(isLast_ ? AfterForwarding::finish : AfterForwarding::proceed); }

  /// The bytes stay where they are until the handler is called.
  template <class Handler>
  void send(beast::tcp_stream& to, asio::const_buffer bytes, bool isChunked, Handler handler) {
    if (isChunked)
      asio::async_write(to, http::make_chunk(bytes), std::move(handler));
    else
      asio::async_write(to, bytes, std::move(handler));
  }

  // After the handshake of a WebSocket.

  void tunnel() {
    // What came right behind the handshake.
    passOn(browser_.stream, upstream_, browser_.buffer, upload_);
    passOn(upstream_, browser_.stream, buffer_, download_);
  }

  void passOn(beast::tcp_stream& from, beast::tcp_stream& to, beast::flat_buffer& buffered,
              std::vector<char>& piece) {
    if (buffered.size() == 0) return receive(from, to, piece);
    asio::async_write(
        to, buffered.data(),
        [this, self = shared_from_this(), &from, &to, &piece](Error error, std::size_t) {
          if (hasEnded_) return;
          if (error) return end(AfterForwarding::finish);
          receive(from, to, piece);
        });
  }

  void receive(beast::tcp_stream& from, beast::tcp_stream& to, std::vector<char>& piece) {
    const bool isBrowser = &from == &browser_.stream;
    if (isBrowser) isBrowserRead_ = true;
    from.async_read_some(asio::buffer(piece), [this, self = shared_from_this(), &from, &to, &piece,
                                               isBrowser](Error error, std::size_t bytes) {
      if (isBrowser) isBrowserRead_ = false;
      if (hasEnded_) return isBrowser ? giveBack() : void();
      if (error) return end(AfterForwarding::finish);
      asio::async_write(to, asio::buffer(piece.data(), bytes),
                        [this, self, &from, &to, &piece](Error failed, std::size_t) {
                          if (hasEnded_) return;
                          if (failed) return end(AfterForwarding::finish);
                          receive(from, to, piece);
                        });
    });
  }

  // The end.

  void end(std::variant<AfterForwarding, Response> result) {
    if (std::exchange(hasEnded_, true)) return;
    // A response of our own comes too late for a browser that has the beginning of another.
    if (hasBegun_ && std::holds_alternative<Response>(result)) result = AfterForwarding::abort;
    result_ = std::move(result);
    upstream_.close();
    resolver_.cancel();
    Error ignored;
    if (isBrowserRead_) browser_.stream.socket().cancel(ignored);
    giveBack();
  }

  /// Not before the operations on the browser's connection have ended.
  void giveBack() {
    // The function stays: it keeps the connection, to which something may still be being sent.
    if (!isBrowserRead_ && !std::exchange(isGivenBack_, true)) browser_.onEnd(std::move(result_));
  }

  /// Development servers send long ones: cookies, policies, links to preload.
  static constexpr std::uint32_t maxResponseHeaderBytes = 65536;

  BrowserSide browser_;
  const std::unique_ptr<Forwarding> forwarding_;
  const NetworkLimits limits_;
  const bool isWebSocket_;
  beast::tcp_stream upstream_;
  tcp::resolver resolver_;
  beast::flat_buffer buffer_;
  http::request<http::empty_body> request_;
  std::optional<http::request_serializer<http::empty_body>> requestSerializer_;
  std::optional<http::response_parser<http::buffer_body>> parser_;
  http::response<http::empty_body> response_;
  std::optional<http::response_serializer<http::empty_body>> responseSerializer_;
  std::vector<char> upload_ = std::vector<char>(bufferBytes);
  std::vector<char> download_ = std::vector<char>(bufferBytes);
  std::optional<HtmlInsertion> insertion_;
  std::string inserted_;
  std::variant<AfterForwarding, Response> result_;
  /// The browser has got the beginning of the response.
  bool hasBegun_ = false;
  /// The browser's connection ends with this response.
  bool isLast_ = false;
  /// Something is being read from the browser's connection, or waited for.
  bool isBrowserRead_ = false;
  bool hasEnded_ = false;
  bool isGivenBack_ = false;
};

}  // namespace

void forward(BrowserSide browser, std::unique_ptr<Forwarding> forwarding, Network& network) {
  std::make_shared<ForwardedExchange>(std::move(browser), std::move(forwarding), network)->begin();
}

}  // namespace vecamera::simulator
