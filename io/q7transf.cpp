// q7transf: downloads through libcurl's easy interface. An object owns its URL text and a reference on its progress
// object; what a running download needs besides lies on the stack of the method. The file that is written is either
// closed with everything in it or the result is reported.
#include "io/q7transf.h"

#include <curl/curl.h>

#include <cfloat>
#include <cstdio>
#include <cstring>

#include "core/classdef.hpp"
#include "core/q7root.h"
#include "core/q7strings.h"
#include "core/report.hpp"
#include "platform/q7platform.h"

namespace {

constexpr char kModule[] = "q7transf";
constexpr long kBufferSize = 256 * 1024;  // a sixteenth, libcurl's own choice, takes as many more system calls
constexpr char kUserAgent[] = "Karmonic7D/8.1 (" Q7_CONTACT ")";
constexpr int kLocks = 256;
constexpr int kMaximum = 100;  // of the progress object: percent
constexpr size_t kNativeSize = 512;

// Kept for whoever shares data between transfers; a transfer itself takes none of them.
void *locks[kLocks];

// Instance data.
struct Transfer {
  char url[256];       // Q7A_TRANSFER_URL; starts empty
  Q7Object *progress;  // Q7A_TRANSFER_PROGRESS; referenced, may be null
};

// A download in flight: what the callbacks of libcurl write to.
struct Download {
  FILE *file;
  uint64_t received;  // bytes, whether they could be stored or not
};

void q7tf_free_locks() {
  for (void *&lock : locks) {
    if (lock) Q7LockFree(lock);
    lock = nullptr;
  }
}

bool q7tf_make_locks() {
  for (void *&lock : locks) {
    lock = Q7LockAlloc();
    if (!lock) {
      q7tf_free_locks();
      return false;
    }
  }
  return true;
}

bool q7tf_set(Transfer &t, const Q7TagItem &item) {
  switch (item.tag) {
    case Q7A_TRANSFER_URL: {
      const char *url = q7::value<const char *>(item);
      // The own text may come back; it is complete as it is.
      if (url != t.url) Q7StrCpy(t.url, url ? url : "", sizeof t.url);
      return true;
    }
    case Q7A_TRANSFER_PROGRESS: q7::replace_reference(t.progress, q7::value<Q7Object *>(item)); return true;
    default: return false;
  }
}

bool q7tf_get(Transfer &t, const Q7TagItem &item) {
  switch (item.tag) {
    case Q7A_TRANSFER_URL: return q7::store<const char *>(item, t.url);
    case Q7A_TRANSFER_PROGRESS: return q7::store<Q7Object *>(item, t.progress);
    default: return false;
  }
}

uint64_t q7tf_dispose(Q7Class *cl, Q7Object *obj, uint64_t a, uint64_t b, Q7TagItem *tags) {
  q7::replace_reference(q7::data<Transfer>(cl, obj).progress, nullptr);
  return q7::inherit(cl, obj, Q7M_DISPOSE, a, b, tags);
}

// The copy has the progress object too, and so a reference of its own.
uint64_t q7tf_copy(Q7Class *cl, Q7Object *obj, uint64_t a, uint64_t b, Q7TagItem *tags) {
  auto *copy = q7::as<Q7Object *>(q7::inherit(cl, obj, Q7M_COPY, a, b, tags));
  if (copy) q7::add_reference(q7::data<Transfer>(cl, copy).progress);
  return q7::arg(copy);
}

size_t q7tf_write(char *bytes, size_t size, size_t count, void *data) {
  auto &download = *static_cast<Download *>(data);
  download.received += size * count;
  return std::fwrite(bytes, 1, size * count, download.file);
}

// Nothing is sent with a download; libcurl would read standard input if it ever asked without this.
size_t q7tf_read(char *bytes, size_t size, size_t count, void *data) {
  auto &download = *static_cast<Download *>(data);
  const size_t bytes_read = std::fread(bytes, 1, size * count, download.file);
  download.received += bytes_read;
  return bytes_read;
}

// A result other than 0 makes libcurl abort, so a progress object that answers non-zero stops the download: that is how
// a cancel button works.
int q7tf_progress(void *data, curl_off_t total, curl_off_t now, curl_off_t, curl_off_t) {
  const auto *t = static_cast<const Transfer *>(data);
  const auto whole = static_cast<double>(total);
  if (whole <= DBL_MIN) return 0;  // not known yet, or never
  const auto percent = static_cast<int32_t>(static_cast<double>(now) / whole * kMaximum);
  return q7::send(t->progress, Q7M_PROGRESS_POSITION, 0, 0, q7::slot(percent)) != 0;
}

void q7tf_set_options(CURL *curl, Transfer &t, Download &download) {
  curl_easy_setopt(curl, CURLOPT_URL, t.url);
  // Deliberately unchecked, see the header: hosts with self-signed certificates depend on it.
  curl_easy_setopt(curl, CURLOPT_SSL_VERIFYPEER, 0L);
  curl_easy_setopt(curl, CURLOPT_SSL_VERIFYHOST, 0L);
  curl_easy_setopt(curl, CURLOPT_WRITEDATA, &download);
  curl_easy_setopt(curl, CURLOPT_WRITEFUNCTION, q7tf_write);
  curl_easy_setopt(curl, CURLOPT_READDATA, &download);
  curl_easy_setopt(curl, CURLOPT_READFUNCTION, q7tf_read);
  curl_easy_setopt(curl, CURLOPT_USERAGENT, kUserAgent);
  curl_easy_setopt(curl, CURLOPT_BUFFERSIZE, kBufferSize);
  curl_easy_setopt(curl, CURLOPT_NOSIGNAL, 1L);  // time-outs must not raise signals in a process with threads
  if (!t.progress) return;
  curl_easy_setopt(curl, CURLOPT_NOPROGRESS, 0L);
  curl_easy_setopt(curl, CURLOPT_XFERINFOFUNCTION, q7tf_progress);
  curl_easy_setopt(curl, CURLOPT_XFERINFODATA, &t);
}

FILE *q7tf_open(char (&native)[kNativeSize], const char *name) {
  native[0] = 0;
  if (name && std::strlen(name) < kNativeSize) Q7FileNameToNative(native, name);
  native[kNativeSize - 1] = 0;
  return native[0] ? std::fopen(native, "wb") : nullptr;
}

// From the open file on.
void q7tf_perform(CURL *curl, Transfer &t, Q7Object *self, Download &download) {
  if (t.progress) {
    q7::send(t.progress, Q7M_PROGRESS_MAXIMUM, 0, 0, q7::slot(kMaximum));
    q7::send(t.progress, Q7M_PROGRESS_POSITION, 0, 0, q7::slot(0));
  }
  q7tf_set_options(curl, t, download);
  CURLcode result = curl_easy_perform(curl);
  curl_easy_cleanup(curl);
  // What was received may still have been on its way to a disk that is full.
  if (std::fclose(download.file) != 0 && result == CURLE_OK) result = CURLE_WRITE_ERROR;
  if (t.progress) q7::send(t.progress, Q7M_PROGRESS_DONE);
  if (result != CURLE_OK) q7::send(self, Q7M_TRANSFER_REPORT, 0, 0, q7::slot(static_cast<int32_t>(result)));
}

uint64_t q7tf_download(Transfer &t, Q7Object *self, const char *name) {
  Download download = {};
  curl_global_init(CURL_GLOBAL_ALL);
  if (CURL *curl = curl_easy_init()) {
    char native[kNativeSize];
    download.file = q7tf_open(native, name);
    if (download.file) {
      q7tf_perform(curl, t, self, download);
      // No empty download remains.
      if (download.received == 0) std::remove(native);
    } else {
      curl_easy_cleanup(curl);
    }
  }
  curl_global_cleanup();
  return download.received != 0;
}

uint64_t q7tf_tell(int32_t line, const char *text) {
  Q7ErrPos(kModule, line);
  Q7_Error("%s", text);
  return 0;
}

// The codes' own texts follow libcurl's documentation. Every text has its line to itself: the line in a report tells
// the code whatever language the log is read in.
uint64_t q7tf_report(int32_t code) {
  switch (code) {
    case 0: return 0;
    case 1:
      return q7tf_tell(__LINE__,
                       "The URL you passed to libcurl used a protocol that this libcurl does not support. The support "
                       "might be a compile-time option that you did not use, it can be a misspelled protocol string or "
                       "just a protocol libcurl has no code for.");
    case 2:
      return q7tf_tell(__LINE__,
                       "Early initialization code failed. This is likely to be an internal error or problem, or a "
                       "resource problem where something fundamental could not get done at init time.");
    case 3: return q7tf_tell(__LINE__, "The URL was not properly formatted.");
    case 4:
      return q7tf_tell(
          __LINE__,
          "A requested feature, protocol or option was not found built-in in this libcurl due to a build-time "
          "decision. This means that a feature or option was not enabled or explicitly disabled when libcurl was built "
          "and in order to get it to function you have to get a rebuilt libcurl.");
    case 5: return q7tf_tell(__LINE__, "Couldn't resolve proxy. The given proxy host could not be resolved.");
    case 6: return q7tf_tell(__LINE__, "Couldn't resolve host. The given remote host was not resolved.");
    case 7: return q7tf_tell(__LINE__, "Failed to connect() to host or proxy.");
    case 8: return q7tf_tell(__LINE__, "The server sent data libcurl could not parse.");
    case 9:
      return q7tf_tell(__LINE__,
                       "We were denied access to the resource given in the URL. For FTP, this occurs while trying to "
                       "change to the remote directory.");
    case 10:
      return q7tf_tell(__LINE__,
                       "While waiting for the server to connect back when an active FTP session is used, an error code "
                       "was sent over the control connection or similar.");
    case 11:
      return q7tf_tell(__LINE__,
                       "After having sent the FTP password to the server, libcurl expects a proper reply. This error "
                       "code indicates that an unexpected code was returned.");
    case 12:
      return q7tf_tell(__LINE__,
                       "During an active FTP session while waiting for the server to connect, the "
                       "CURLOPT_ACCEPTTIMEOUT_MS (or the internal default) timeout expired.");
    case 13:
      return q7tf_tell(__LINE__,
                       "libcurl failed to get a sensible result back from the server as a response to either a PASV or "
                       "a EPSV command. The server is flawed.");
    case 14:
      return q7tf_tell(__LINE__,
                       "FTP servers return a 227-line as a response to a PASV command. If libcurl fails to parse that "
                       "line, this return code is passed back.");
    case 15: return q7tf_tell(__LINE__, "An internal failure to lookup the host used for the new connection.");
    case 16:
      return q7tf_tell(__LINE__,
                       "A problem was detected in the HTTP2 framing layer. This is somewhat generic and can be one out "
                       "of several problems, see the error buffer for details.");
    case 17: return q7tf_tell(__LINE__, "Received an error when trying to set the transfer mode to binary or ASCII.");
    case 18:
      return q7tf_tell(
          __LINE__,
          "A file transfer was shorter or larger than expected. This happens when the server first reports an expected "
          "transfer size, and then delivers data that does not match the previously given size.");
    case 19:
      return q7tf_tell(__LINE__, "This was either a weird reply to a 'RETR' command or a zero byte transfer complete.");
    case 21:
      return q7tf_tell(
          __LINE__,
          "When sending custom \"QUOTE\" commands to the remote server, one of the commands returned an error code "
          "that was 400 or higher (for FTP) or otherwise indicated unsuccessful completion of the command.");
    case 22:
      return q7tf_tell(__LINE__,
                       "This is returned if CURLOPT_FAILONERROR is set TRUE and the HTTP server returns an error code "
                       "that is >= 400.");
    case 23:
      return q7tf_tell(__LINE__,
                       "An error occurred when writing received data to a local file, or an error was returned to "
                       "libcurl from a write callback.");
    case 25:
      return q7tf_tell(__LINE__,
                       "Failed starting the upload. For FTP, the server typically denied the STOR command. The error "
                       "buffer usually contains the server's explanation for this.");
    case 26:
      return q7tf_tell(__LINE__, "There was a problem reading a local file or an error returned by the read callback.");
    case 27: return q7tf_tell(__LINE__, "A memory allocation request failed.");
    case 28:
      return q7tf_tell(__LINE__,
                       "Operation timeout.The specified time - out period was reached according to the conditions.");
    case 30:
      return q7tf_tell(__LINE__,
                       "The FTP PORT command returned error. This mostly happens when you have not specified a good "
                       "enough address for libcurl to use. See CURLOPT_FTPPORT.");
    case 31:
      return q7tf_tell(__LINE__,
                       "The FTP REST command returned error. This should never happen if the server is sane.");
    case 33: return q7tf_tell(__LINE__, "The server does not support or accept range requests.");
    case 34: return q7tf_tell(__LINE__, "This is an odd error that mainly occurs due to internal confusion.");
    case 35:
      return q7tf_tell(__LINE__,
                       "A problem occurred somewhere in the SSL/TLS handshake. You really want the error buffer and "
                       "read the message there as it pinpoints the problem slightly more. Could be certificates (file "
                       "formats, paths, permissions), passwords, and others.");
    case 36:
      return q7tf_tell(__LINE__,
                       "The download could not be resumed because the specified offset was out of the file boundary.");
    case 37:
      return q7tf_tell(__LINE__,
                       "A file given with FILE:// could not be opened. Most likely because the file path does not "
                       "identify an existing file. Did you check file permissions?");
    case 38: return q7tf_tell(__LINE__, "LDAP cannot bind. LDAP bind operation failed.");
    case 39: return q7tf_tell(__LINE__, "LDAP search failed.");
    case 41: return q7tf_tell(__LINE__, "Function not found. A required zlib function was not found.");
    case 42: return q7tf_tell(__LINE__, "Aborted by callback");
    case 43: return q7tf_tell(__LINE__, "A function was called with a bad parameter.");
    case 45:
      return q7tf_tell(__LINE__,
                       "Interface error. A specified outgoing interface could not be used. Set which interface to use "
                       "for outgoing connections' source IP address with CURLOPT_INTERFACE.");
    case 47:
      return q7tf_tell(__LINE__,
                       "Too many redirects. When following redirects, libcurl hit the maximum amount. Set your limit "
                       "with CURLOPT_MAXREDIRS.");
    case 48:
      return q7tf_tell(__LINE__,
                       "An option passed to libcurl is not recognized/known. Refer to the appropriate documentation. "
                       "This is most likely a problem in the program that uses libcurl. The error buffer might contain "
                       "more specific information about which exact option it concerns.");
    case 49:
      return q7tf_tell(
          __LINE__,
          "An option passed in to a setopt was wrongly formatted. See error message for details about what option.");
    case 52:
      return q7tf_tell(
          __LINE__,
          "Nothing was returned from the server, and under the circumstances, getting nothing is considered an error.");
    case 53: return q7tf_tell(__LINE__, "The specified crypto engine was not found.");
    case 54: return q7tf_tell(__LINE__, "Failed setting the selected SSL crypto engine as default.");
    case 55: return q7tf_tell(__LINE__, "Failed sending network data.");
    case 56: return q7tf_tell(__LINE__, "Failure with receiving network data.");
    case 58: return q7tf_tell(__LINE__, "Problem with the local client certificate.");
    case 59: return q7tf_tell(__LINE__, "Could not use specified cipher.");
    case 60: return q7tf_tell(__LINE__, "The remote server's SSL certificate or SSH fingerprint was deemed not OK.");
    case 61: return q7tf_tell(__LINE__, "Unrecognized transfer encoding.");
    case 62: return q7tf_tell(__LINE__, "Invalid LDAP URL.");
    case 63: return q7tf_tell(__LINE__, "Maximum file size exceeded.");
    case 64: return q7tf_tell(__LINE__, "Requested FTP SSL level failed.");
    case 65:
      return q7tf_tell(
          __LINE__,
          "When doing a send operation curl had to rewind the data to retransmit, but the rewinding operation failed.");
    case 66: return q7tf_tell(__LINE__, "Initiating the SSL Engine failed.");
    case 67: return q7tf_tell(__LINE__, "The remote server denied curl to login");
    case 68: return q7tf_tell(__LINE__, "File not found on TFTP server.");
    case 69: return q7tf_tell(__LINE__, "Permission problem on TFTP server.");
    case 70: return q7tf_tell(__LINE__, "Out of disk space on the server.");
    case 71: return q7tf_tell(__LINE__, "Illegal TFTP operation.");
    case 72: return q7tf_tell(__LINE__, "Unknown TFTP transfer ID.");
    case 73: return q7tf_tell(__LINE__, "File already exists and will not be overwritten.");
    case 74: return q7tf_tell(__LINE__, "This error should never be returned by a properly functioning TFTP server.");
    case 75: return q7tf_tell(__LINE__, "Character conversion failed.");
    case 76: return q7tf_tell(__LINE__, "Caller must register conversion callbacks.");
    case 77: return q7tf_tell(__LINE__, "Problem with reading the SSL CA cert (path? access rights?)");
    case 78: return q7tf_tell(__LINE__, "The resource referenced in the URL does not exist.");
    case 79: return q7tf_tell(__LINE__, "An unspecified error occurred during the SSH session.");
    case 80: return q7tf_tell(__LINE__, "Failed to shut down the SSL connection.");
    case 81: return q7tf_tell(__LINE__, "Socket is not ready for send/recv. Wait till it's ready and try again.");
    case 82: return q7tf_tell(__LINE__, "Failed to load CRL file");
    case 83: return q7tf_tell(__LINE__, "Issuer check failed");
    case 84:
      return q7tf_tell(
          __LINE__,
          "The FTP server does not understand the PRET command at all or does not support the given argument.");
    case 85: return q7tf_tell(__LINE__, "Mismatch of RTSP CSeq numbers.");
    case 86: return q7tf_tell(__LINE__, "Mismatch of RTSP Session Identifiers.");
    case 87: return q7tf_tell(__LINE__, "Unable to parse FTP file list (during FTP wildcard downloading).");
    case 88: return q7tf_tell(__LINE__, "Chunk callback reported error.");
    case 90: return q7tf_tell(__LINE__, "Failed to match the pinned key specified with CURLOPT_PINNEDPUBLICKEY.");
    case 91: return q7tf_tell(__LINE__, "Status returned failure when asked with CURLOPT_SSL_VERIFYSTATUS.");
    default: break;
  }
  Q7_REPORT_ERROR(kModule, "Unknown server error %d", code);
  return 0;
}

extern const q7::ClassDef transfer_class;

uint64_t q7tf_class_free(Q7Class *cl, Q7Object *obj, uint64_t a, uint64_t b, Q7TagItem *tags) {
  if (&cl->header == obj) q7tf_free_locks();
  return q7::class_free(transfer_class, cl, obj, a, b, tags);
}

uint64_t q7tf_dispatch(Q7Class *cl, Q7Object *obj, uint32_t method, uint64_t a, uint64_t b, Q7TagItem *tags) {
  if (!obj) return 0;
  if (&obj->cl->header == obj) {
    switch (method) {
      case Q7M_NEW: return q7::create<Transfer>(cl, obj, a, b, tags, q7tf_set);
      case Q7M_CLASS_FREE: return q7tf_class_free(cl, obj, a, b, tags);
      case Q7M_TRANSFER_DOWNLOAD: return 0;  // there is no URL behind a class record
      case Q7M_TRANSFER_REPORT: return q7tf_report(q7::slot_int(tags));
      default: return q7::inherit(cl, obj, method, a, b, tags);
    }
  }
  switch (method) {
    case Q7M_DISPOSE: return q7tf_dispose(cl, obj, a, b, tags);
    case Q7M_SET: return q7::set_attributes<Transfer>(cl, obj, tags, q7tf_set);
    case Q7M_GET: return q7::get_attributes<Transfer>(cl, obj, tags, q7tf_get);
    case Q7M_COPY: return q7tf_copy(cl, obj, a, b, tags);
    case Q7M_TRANSFER_DOWNLOAD: return q7tf_download(q7::data<Transfer>(cl, obj), obj, q7::as<const char *>(a));
    case Q7M_TRANSFER_REPORT: return q7tf_report(q7::slot_int(tags));
    default: return q7::inherit(cl, obj, method, a, b, tags);
  }
}

constexpr q7::ClassDef transfer_class = {
    .id = Q7C_TRANSFER, .name = "q7transf", .dispatch = q7tf_dispatch, .size = sizeof(Transfer)};

}  // namespace

int32_t Q7RegisterTransferClass(Q7App *app) {
  if (Q7ClassFind(Q7C_TRANSFER)) return 1;
  if (!Q7RegisterRootClass(app) || !q7tf_make_locks()) return 0;
  if (q7::register_once(app, transfer_class)) return 1;
  q7tf_free_locks();
  return 0;
}
