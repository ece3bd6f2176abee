#pragma once

/// \file
/// What `ZRError::userInfo()` of the library's errors tells: keys, and the words for the causes. A host that shows or
/// counts causes compares with these; the texts for users may change.

/// Key of a word below: why it failed.
inline constexpr const char* kZRErrorReasonKey = "reason";

/// Key of a text about this one failure, for a log or a "details" field: `open: Input/output error`.
inline constexpr const char* kZRErrorCauseKey = "cause";

/// Key of the HTTP status, an integer, where an answer had one that led to the failure.
inline constexpr const char* kZRErrorHttpStatusKey = "httpStatus";

/// Of the disk and the files.
///@{
inline constexpr const char* kZRReasonDiskFull = "diskFull";
inline constexpr const char* kZRReasonFileFailure = "fileFailure";  ///< "cause" is the system call and its error
inline constexpr const char* kZRReasonFileSync = "fileSync";        ///< a finished video cannot be kept on the disk
inline constexpr const char* kZRReasonFileBusy = "fileBusy";        ///< another download writes the file
///@}

/// Of what the process has no more of.
///@{
inline constexpr const char* kZRReasonNoThread = "noThread";
inline constexpr const char* kZRReasonNoMemory = "noMemory";
///@}

/// Of the network and the answers.
///@{
inline constexpr const char* kZRReasonCancelled = "cancelled";
inline constexpr const char* kZRReasonBadAddress = "badAddress";
inline constexpr const char* kZRReasonBadScheme = "badScheme";  ///< neither http nor https
inline constexpr const char* kZRReasonTimedOut = "timedOut";
inline constexpr const char* kZRReasonCannotConnect = "cannotConnect";
inline constexpr const char* kZRReasonNoNetwork = "noNetwork";
inline constexpr const char* kZRReasonConnectionLost = "connectionLost";
inline constexpr const char* kZRReasonTooManyRedirects = "tooManyRedirects";
inline constexpr const char* kZRReasonTlsRefused = "tlsRefused";
inline constexpr const char* kZRReasonHttpStatus = "httpStatus";          ///< an answer outside 2xx
inline constexpr const char* kZRReasonServiceRefused = "serviceRefused";  ///< the "status" in an answer is not 200
inline constexpr const char* kZRReasonBadAnswer = "badAnswer";            ///< no JSON, or no record in it
inline constexpr const char* kZRReasonAnswerTooLarge = "answerTooLarge";
///@}

/// Of the videos.
///@{
inline constexpr const char* kZRReasonNoPlaylistAddress = "noPlaylistAddress";
inline constexpr const char* kZRReasonNoSegmentAddress = "noSegmentAddress";
inline constexpr const char* kZRReasonPlaylistDecryption = "playlistDecryption";  ///< "cause" is the host's own text
inline constexpr const char* kZRReasonSegmentCheck = "segmentCheck";              ///< no MPEG transport stream
inline constexpr const char* kZRReasonNoMp4Address = "noMp4Address";
inline constexpr const char* kZRReasonNoShareAddress = "noShareAddress";
inline constexpr const char* kZRReasonBadName = "badName";  ///< a name or an id that leads to no place for a file
inline constexpr const char* kZRReasonHostOffline = "hostOffline";
inline constexpr const char* kZRReasonFileDeleted = "fileDeleted";
///@}
