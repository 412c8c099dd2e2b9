/*
 * mpg.h - post-processing of downloaded media files.
 *
 * One library, 22 functions. Each call runs one whole operation on the caller's thread and returns
 * when it is done. This header is C99 and can be used from C and from C++.
 *
 * Paths. Narrow, NUL-terminated file paths. Each is the name of one file and nothing else: what looks
 * like an address ("http:..."), a pattern ("%03d") or an option is a name, too, and no other file is
 * opened, whatever a file's content asks for (playlists and the like are no media here). On Windows
 * a path that is valid UTF-8 is read as such, any other in the ANSI code page, with either kind of
 * slash; names of more than 259 characters work where the system has them. On other systems paths
 * are handed on byte for byte. A null path never crashes: functions that return a result code answer
 * MPG_ERR_INVALID_PARAMETER, the others 0 or null.
 *
 * Results come in four kinds; each function says which one it has.
 *   result code  0 is success. MPG_ERR_... below are the library's own codes; every other value is
 *                negative and is FFmpeg's error code (AVERROR), passed on as it is.
 *                MPG_GetErrorText turns each of them into a text.
 *   byte, flag   1 is yes or success, 0 is no or failure. No reason is given.
 *   value        a number or a pointer, 0 or null for failure.
 *   nothing      the function can't fail.
 *
 * Files. Inputs are only read, unless a function says otherwise. An output that already exists is
 * replaced. An output path that names one of the inputs, also through a link, is refused before
 * anything is touched, and so is one of which the system doesn't tell. What is left of an output
 * after a failure is said at each function. An output that is a symbolic link writes into the file
 * it leads to; where a failure deletes the output, the link goes and that file stays as far as it
 * was written. Success means that the output is complete and closed,
 * and that its inputs were read to their end: a disk that fails to give what it has is a failure,
 * a file that ends early, such as a download that was cut off, is none.
 *
 * Progress. Long operations call the host's ProgressCallback from inside their loop, on the
 * caller's thread. `percent` runs from 0 to the number set with MPG_SetPercent100 (100 unless set).
 * A callback that returns 0 asks the operation to stop: it reads no further, finishes its output as
 * a valid file that ends there, and returns success. A null callback means no reports.
 * Positions count from the start of the stream; its length is the stream's, else the file's; where
 * neither is known only the end is reported. Reports rise, with these exceptions: MPG_Merge reports
 * every entry, MP3_Convert every 20 pieces of audio at least, and what follows the last picture in
 * MPG_Transcode and MPG_ShiftAudio (audio, and what encoders hold back) repeats the last report, so
 * that it can be stopped, too.
 * A percent above the scale comes where a file is longer than it says, from MP3_Convert (whose
 * length is in whole seconds), MPG_Transcode, MPG_ShiftAudio and MPG_MergeAV when it re-encodes;
 * never from MPG_Merge nor from MPG_MergeAV when it copies. With percent100 = 0 every percent is 0:
 * MPG_Merge and MP3_Convert report it as often as said above, the others only at their end.
 *
 * A callback should not throw. What a C++ host's callback throws all the same goes no further than
 * the library: the operation fails with AVERROR_UNKNOWN, and its output is what a failure leaves.
 *
 * Streams. Of video the first stream is taken, of audio one stream: what copies or describes takes
 * the first usable one (MPG_GetMediaInfo, MPG_Merge, MPG_MergeAV when it copies), what decodes it
 * or may (MP3_Convert, MPG_Transcode, MPG_MergeAV when it re-encodes, MPG_SaveTrimmedVideo, MPG_Crop,
 * MPG_ShiftAudio) the one with the highest bit rate. Usable is audio that tells a sample rate or
 * that can be decoded.
 *
 * Threads. The library starts no thread of its own and takes no lock. FFmpeg's decoders and encoders
 * of video do start threads where pictures are re-encoded or all decoded (MPG_Transcode,
 * MPG_SaveTrimmedVideo, MPG_Crop), and end them before the call returns. Different threads may run calls on different files at
 * the same time, with two process-wide exceptions: don't call MPG_GetErrorText on two threads at
 * once, and set MPG_SetPercent100 only while no operation runs.
 *
 * Memory. Everything the library returns a pointer to stays the library's, except the bitmap of
 * MPG_GetImageBMP, which the caller releases with free() of the C runtime that the library uses. On
 * Windows that is msvcrt.dll; a host with another runtime takes free() from there.
 *
 * Compatibility. Records have fixed sizes and offsets, little-endian, with natural alignment; they
 * are the same in every version of the library. Messages of FFmpeg itself go to FFmpeg's log,
 * which writes to the standard error stream unless the host sets another log function.
 *
 * Example: join a video file and an audio file and show how far it is.
 *
 *     static uint8_t OnProgress(const ProgressInfo* progress) {
 *       printf("\r%d %%", (int)progress->percent);
 *       return 1;
 *     }
 *
 *     MergeDecision decision;
 *     int32_t result = MPG_MergeOP2("film.m4v", "film.m4a", &decision);
 *     if (result == 0) {
 *       char output[64];
 *       snprintf(output, sizeof output, "film.%s", decision.extension);
 *       result = MPG_MergeAV("film.m4v", "film.m4a", output, OnProgress, 0);
 *     }
 *     if (result != 0) printf("%s\n", MPG_GetErrorText(result));
 */
#ifndef MPG_MPG_H_
#define MPG_MPG_H_

#include <stdint.h>

#if defined(_WIN32)
#if defined(MPG_BUILDING_LIBRARY)
#define MPG_API __declspec(dllexport)
#else
#define MPG_API __declspec(dllimport)
#endif
#elif defined(__GNUC__)
#define MPG_API __attribute__((visibility("default")))
#else
#define MPG_API
#endif

#ifdef __cplusplus
#define MPG_NOEXCEPT noexcept
extern "C" {
#else
#define MPG_NOEXCEPT
#endif

/* Result codes. */

/* The audio file holds no audio stream whose codec could be determined. */
#define MPG_ERR_AUDIO_CODEC_NOT_FOUND ((int32_t)0xC0000001u)
/* The video file holds no video stream whose codec could be determined. */
#define MPG_ERR_VIDEO_CODEC_NOT_FOUND ((int32_t)0xC0000002u)
/* An input has no usable audio stream. */
#define MPG_ERR_AUDIO_STREAM_NOT_FOUND ((int32_t)0xC0000003u)
/* An input has no video stream. */
#define MPG_ERR_VIDEO_STREAM_NOT_FOUND ((int32_t)0xC0000004u)
/* An argument is null, empty or out of range, or an output path names an input. */
#define MPG_ERR_INVALID_PARAMETER ((int32_t)0xC0000005u)

/* Progress. */

/* What a ProgressCallback receives. Valid only during the call. 24 bytes. */
typedef struct ProgressInfo {
  int32_t percent;   /* how far the operation is, from 0 to percent100 */
  uint64_t context;  /* the host's own value, as it was passed to the operation */
  uint64_t reserved; /* always 0 */
} ProgressInfo;

/* Returns non-zero to go on, 0 to stop. */
typedef uint8_t (*ProgressCallback)(const ProgressInfo* progress);

/* Sets percent100, the number that stands for a finished operation: 100 when the library is
 * loaded. Any value is taken; percents are held within 32 bits. Takes effect at once. */
MPG_API void MPG_SetPercent100(uint32_t value) MPG_NOEXCEPT;

/* Errors. */

/* The text of a result code, in English. The library's own codes up to
 * MPG_ERR_VIDEO_STREAM_NOT_FOUND have constant texts; every other code is described by FFmpeg in
 * one process-wide buffer of 260 bytes, which the next such call overwrites. Never null. */
MPG_API const char* MPG_GetErrorText(int32_t code) MPG_NOEXCEPT;

/* Does nothing. */
MPG_API void MPG_TestParams(void) MPG_NOEXCEPT;

/* What a file holds. */

/* Main properties of a file, its first video stream and its first usable audio stream. What a
 * file doesn't have or tell stays 0 or empty. Durations are whole seconds, cut off; bit rates are
 * bits per second; names are FFmpeg's, in capitals. 344 bytes. */
typedef struct MediaInfo {
  int64_t duration;
  int64_t bitRate;
  uint32_t videoStreams; /* number of video streams */
  int32_t width;         /* pixels */
  int32_t height;
  int64_t videoBitRate;
  double frameRate; /* pictures per second; not a number where the file tells none */
  int64_t videoDuration;
  char videoCodec[64];        /* "H264", "VP9" ... */
  char videoSampleFormat[64]; /* usually empty */
  uint32_t audioStreams;      /* number of audio streams */
  int32_t channels;           /* 0 when the audio can't be decoded */
  int64_t audioBitRate;
  int32_t sampleRate; /* Hz */
  int64_t audioDuration;
  char audioCodec[64];   /* "AAC", "OPUS" ... */
  char sampleFormat[64]; /* "FLTP", "S16" ... */
} MediaInfo;

/* 1 when the file can be opened and its streams can be read. */
MPG_API uint32_t MPG_IsThisGoodFile(const char* path) MPG_NOEXCEPT;

/* Fills the record. Byte: 1 when the file holds video or usable audio. */
MPG_API uint8_t MPG_GetMediaInfo(const char* path, MediaInfo* info) MPG_NOEXCEPT;

/* Value: the length of the file's audio in whole seconds, else that of the file, else 0. */
MPG_API int32_t MPG_GetAudioDuration(const char* path) MPG_NOEXCEPT;

/* Joining a video file with an audio file. */

/* Values of MergeDecision.mode. */
#define MPG_MERGE_COPY 0u            /* both streams are copied as they are */
#define MPG_MERGE_REENCODE_AUDIO 1u  /* the audio becomes AAC */

/* Values of MergeDecision.container. */
#define MPG_CONTAINER_MP4 0u
#define MPG_CONTAINER_AVI 1u
#define MPG_CONTAINER_WEBM 2u
#define MPG_CONTAINER_WEBM_OR_MATROSKA 3u

/* How a video file and an audio file can be joined, and the extensions (without dot) that suit the
 * joined file. 72 bytes. */
typedef struct MergeDecision {
  uint32_t mode;
  uint32_t container;
  char extension[32];
  char altExtension[32];
} MergeDecision;

/* The first two fields of a MergeDecision. 8 bytes. */
typedef struct MergeDecisionPrefix {
  uint32_t mode;
  uint32_t container;
} MergeDecisionPrefix;

/* Older form of MPG_MergeOP2: fewer rules, no extensions. Result code. */
MPG_API int32_t MPG_MergeOP(const char* videoPath, const char* audioPath,
                            MergeDecisionPrefix* decision) MPG_NOEXCEPT;

/* Decides by the two files' codecs. Result code: MPG_ERR_AUDIO_CODEC_NOT_FOUND or
 * MPG_ERR_VIDEO_CODEC_NOT_FOUND leave the record as it was. */
MPG_API int32_t MPG_MergeOP2(const char* videoPath, const char* audioPath,
                             MergeDecision* decision) MPG_NOEXCEPT;

/* The extension, without dot, that suits a file with video and audio. The buffer of `size` bytes
 * becomes empty when there is no answer or the answer doesn't fit; a size of 0 or less leaves it
 * untouched. */
MPG_API void MPG_GetDefExtension(const char* path, char* buffer, int32_t size) MPG_NOEXCEPT;

/* Joins the first video stream of one file with the usable audio stream of another, as
 * MPG_MergeOP2 decides; the output's name doesn't choose the container. Where both are copied the
 * output ends with the longer of the two, where the audio is re-encoded with the shorter. Up to 25
 * packets that the container refuses are left out of a copy. Result code; AVERROR_INVALIDDATA where
 * neither file gave a packet. A failed join leaves what was written so far. */
MPG_API int32_t MPG_MergeAV(const char* videoPath, const char* audioPath, const char* outputPath,
                            ProgressCallback callback, uint64_t context) MPG_NOEXCEPT;

/* Joining segments, repairing a header. */

/* Joins segments, in the order of a list that a null pointer ends, into an MPEG transport stream
 * (output extension ts, m4t, m2t, m2ts or mts) or an MP4 file (any other). The first entry decides
 * whether the output has video, audio or both. Entries that are missing or folders are skipped,
 * broken ones passed as long as a good one follows or none does; the last may fail in any way.
 * Fragments of MP4 without an initialisation of their own are read with the last one that an entry
 * before them brought. An empty list or a null output path does nothing and returns 0.
 * closeGaps: non-zero removes forward jumps of the time stamps between segments.
 * deleteSegments: non-zero deletes, once the whole join has succeeded, every segment that was read
 * to its end and is in the output; broken, cut and failed ones stay.
 * Reports once per entry, k of n as k x percent100 / n, whether that is more than before or not.
 * Result code; AVERROR_INVALIDDATA when the output would hold nothing. A failed join deletes its
 * output and no segment. */
MPG_API int32_t MPG_Merge(const char* const* segmentPaths, const char* outputPath,
                          uint8_t deleteSegments, uint8_t closeGaps, ProgressCallback callback,
                          uint64_t context) MPG_NOEXCEPT;

/* Rewrites an FLV file's header in place, so that it tells the real duration, in whole seconds. The
 * new header has the old one's length, so that what lies behind stays where it is; a keyframe index
 * in it is lost. While it works, a file of the same name with ".tmp" appended stands beside it, in
 * place of whatever had that name. Result code. AVERROR_INVALIDDATA: it isn't FLV, or no header of
 * that length can be made. After a failure the file is as it was: the header goes over the old one
 * in one write, and where that fails the old bytes are put back. Only when that second write fails,
 * too, or the process is killed during the first, the file may begin with a part of the new header;
 * a ".tmp" that a killed process leaves is replaced by the next repair. */
MPG_API int32_t FLV_FixDuration(const char* path) MPG_NOEXCEPT;

/* Re-encoding. */

/* Writes a file's audio as MP3. requestedBitRate: bits per second, 0 or less for the library's
 * choice. Result code; AVERROR_INVALIDDATA where no audio could be decoded. A failed conversion
 * leaves what was written so far. */
MPG_API int32_t MP3_Convert(const char* inputPath, const char* outputPath, int32_t requestedBitRate,
                            ProgressCallback callback, uint64_t context) MPG_NOEXCEPT;

/* Containers by number, for TranscodeParams.formatId and MPG_GetDefExt. */
typedef uint32_t OutputFormatId;
#define MPG_FORMAT_3GP 0u
#define MPG_FORMAT_AAC 1u
#define MPG_FORMAT_AVI 2u
#define MPG_FORMAT_MP3 3u
#define MPG_FORMAT_MP4 4u
#define MPG_FORMAT_MPEG 5u
#define MPG_FORMAT_TS 6u
#define MPG_FORMAT_WEBM 7u
#define MPG_FORMAT_WMV 8u

/* Value: the extension, without dot, of a container; "mp4" for an unknown one. A constant text. */
MPG_API const char* MPG_GetDefExt(OutputFormatId formatId) MPG_NOEXCEPT;

/* A string as the host's own string object lays it out. The characters, NUL-terminated, stand in
 * `text` when the capacity is below 16, else where `pointer` points. 32 bytes. */
typedef struct HostString {
  union {
    char text[16];
    const char* pointer;
  } characters;
  uint64_t length;   /* characters, without the terminator */
  uint64_t capacity; /* characters that fit */
} HostString;

/* What MPG_Transcode is to make. 0 in every field but formatId copies both streams. 48 bytes. */
typedef struct TranscodeParams {
  int32_t formatId;           /* MPG_FORMAT_... */
  int32_t targetAudioCodec;   /* 0 as input, 1 MP3, 2 AAC, 3 AMR narrow band, 4 AMR wide band */
  int32_t targetAudioBitRate; /* bits per second, rounded up to a usual rate; 0 keeps it */
  int32_t targetSampleRate;   /* Hz, rounded up to a usual rate; 0 keeps it, or the next that the
                                 codec knows */
  int32_t targetChannels;     /* 1 mono, 2 stereo, any other value keeps them, or as many as the
                                 codec knows */
  int32_t targetVideoCodec;   /* 0 as input; MPEG-4 tagged 1 XVID, 2 DX50, 3 DIVX, 6 plain;
                                 4 H.263, 5 H.264 */
  int32_t targetWidth;        /* pixels, 0 not given */
  int32_t targetHeight;
  int32_t scalePercent;       /* share of the input's size, on the scale of percent100; used only
                                 together with targetWidth or targetHeight */
  int32_t targetVideoBitRate; /* bits per second, kilobits when below 1000; 0 keeps it */
  int32_t videoReencode;      /* non-zero re-encodes the video even without another setting */
  int32_t reserved;
} TranscodeParams;

/* Rewrites a file into another container, codec, size and bit rate. The first picture's time
 * becomes 0, and the audio moves along. Without a video stream (cover art is none), or where FFmpeg
 * knows no decoder or encoder for its codec, the audio goes alone; a video that can't be set up
 * otherwise is a failure. Of audio that is re-encoded up to 19 damaged packets may be lost.
 * Result code; AVERROR_INVALIDDATA where nothing could be written. A failure deletes the output. */
MPG_API int32_t MPG_Transcode(const HostString* inputPath, const HostString* outputPath,
                              const TranscodeParams* params, ProgressCallback callback,
                              uint64_t context) MPG_NOEXCEPT;

/* Keeps the part of a video between two times in whole seconds, in the container that the input's
 * name suggests. Result code. A failure deletes the output. */
MPG_API int32_t MPG_SaveTrimmedVideo(const char* inputPath, const char* outputPath,
                                     uint32_t startSecond, uint32_t endSecond) MPG_NOEXCEPT;

/* Writes a copy of a video whose pictures were all decoded on the way, in the container that the
 * input's name suggests. Result code. A failure deletes the output. */
MPG_API int32_t MPG_Crop(const char* inputPath, const char* outputPath) MPG_NOEXCEPT;

/* Writes a copy whose audio is later (positive) or earlier (negative) by shiftMilliseconds. AVI,
 * which has no time stamps, gets silence or empty pictures at the start; where no silence can be
 * made, the call fails. Result code. A failure deletes the output. */
MPG_API int32_t MPG_ShiftAudio(const char* inputPath, const char* outputPath,
                               int32_t shiftMilliseconds, ProgressCallback callback,
                               uint64_t context) MPG_NOEXCEPT;

/* Still images. */

typedef uint32_t ImageFormat;
#define MPG_IMAGE_PPM 0u
#define MPG_IMAGE_BMP 1u
#define MPG_IMAGE_JPEG 2u

/* Saves the first picture that is neither predicted from others nor of one colour, of the first
 * video stream that isn't cover art, else of the cover art, whatever the position or time. height:
 * pixels, 0 for the video's own; the width follows, at least 4. quality: JPEG only, 1 to 100; more
 * becomes 90. Value: 1 or 0; a failure deletes what stands at the output path. */
MPG_API uint32_t MPG_GetImage(ImageFormat format, const char* inputPath, const char* outputPath,
                              int32_t height, uint32_t quality) MPG_NOEXCEPT;

/* The same from a position on the scale of percent100 of the video's duration, counted from the
 * video's start. Byte. */
MPG_API uint8_t MPG_GetImageP(ImageFormat format, const char* inputPath, const char* outputPath,
                              int32_t position, int32_t height, uint32_t quality) MPG_NOEXCEPT;

/* The picture at a time as a bitmap in memory: a 14-byte BMP file header, a 40-byte information
 * header, 4 zero bytes, then rows of blue, green, red bytes, top row first, without padding. The
 * caller releases it with free(). *size: its bytes, 0 on failure. Value: the bitmap or null. */
MPG_API void* MPG_GetImageBMP(const char* inputPath, uint32_t second, uint32_t* size,
                              uint32_t height) MPG_NOEXCEPT;

/* Saves the picture at a time as a small JPEG file. Byte; a failure deletes nothing. */
MPG_API uint8_t MPG_GetImageJPG(const char* inputPath, const char* outputPath, uint32_t second,
                                uint32_t height) MPG_NOEXCEPT;

#ifdef __cplusplus
} /* extern "C" */
#endif

#endif /* MPG_MPG_H_ */
