// Post-processing of downloaded media files: the 22 functions of mpg.h in C#'s manner.
//
// A method has its C name without "MPG_": MPG_GetMediaInfo is Mpg.GetMediaInfo; FLV_FixDuration is
// Mpg.FlvFixDuration, MP3_Convert is Mpg.Mp3Convert. What fails throws MpgException. mpg.h says
// what becomes of outputs. One file without dependencies, for netstandard2.0 and Mono.
using System;
using System.Collections.Generic;
using System.IO;
using System.Linq;
using System.Runtime.ExceptionServices;
using System.Runtime.InteropServices;
using System.Text;
using System.Threading;

/// <summary>Code is the library's result code, or 0 where it gives no reason.</summary>
public class MpgException : Exception
{
    public const int AudioCodecNotFound = unchecked((int)0xC0000001);
    public const int VideoCodecNotFound = unchecked((int)0xC0000002);
    public const int AudioStreamNotFound = unchecked((int)0xC0000003);
    public const int VideoStreamNotFound = unchecked((int)0xC0000004);
    public const int InvalidParameter = unchecked((int)0xC0000005);

    public int Code { get; }

    public MpgException(int code, string text, Exception inner = null) : base(text, inner)
    {
        Code = code;
    }
}

/// <summary>The host stopped the operation. Output is the valid, shorter file that was kept.</summary>
public class MpgCanceledException : OperationCanceledException
{
    public string Output { get; }

    public MpgCanceledException(string output, CancellationToken token)
        : base("stopped; so far in " + output, token)
    {
        Output = output;
    }
}

public enum MergeMode : uint { Copy, ReencodeAudio }
public enum MergeContainer : uint { Mp4, Avi, WebM, WebMOrMatroska }
public enum OutputFormat : uint { ThreeGp, Aac, Avi, Mp3, Mp4, Mpeg, Ts, WebM, Wmv }
public enum ImageFormat : uint { Ppm, Bmp, Jpeg }
public enum TargetAudioCodec { AsInput, Mp3, Aac, AmrNarrowBand, AmrWideBand }
public enum TargetVideoCodec { AsInput, Xvid, Dx50, Divx, H263, H264, Mpeg4 }

// The records as mpg.h lays them out.

[StructLayout(LayoutKind.Sequential)]
public struct ProgressInfo
{
    public int percent;
    public ulong context;
    public ulong reserved;
}

/// <summary>Durations in seconds, bit rates in bits per second; 0 or "" is what a file doesn't
/// tell.</summary>
[StructLayout(LayoutKind.Sequential)]
public struct MediaInfo
{
    public long duration;
    public long bitRate;
    public uint videoStreams;
    public int width;
    public int height;
    public long videoBitRate;
    public double frameRate;
    public long videoDuration;
    [MarshalAs(UnmanagedType.ByValArray, SizeConst = 64)] internal byte[] videoCodec;
    [MarshalAs(UnmanagedType.ByValArray, SizeConst = 64)] internal byte[] videoSampleFormat;
    public uint audioStreams;
    public int channels;
    public long audioBitRate;
    public int sampleRate;
    public long audioDuration;
    [MarshalAs(UnmanagedType.ByValArray, SizeConst = 64)] internal byte[] audioCodec;
    [MarshalAs(UnmanagedType.ByValArray, SizeConst = 64)] internal byte[] sampleFormat;

    public string VideoCodec { get { return Mpg.Text(videoCodec); } }
    public string VideoSampleFormat { get { return Mpg.Text(videoSampleFormat); } }
    public string AudioCodec { get { return Mpg.Text(audioCodec); } }
    public string SampleFormat { get { return Mpg.Text(sampleFormat); } }
}

[StructLayout(LayoutKind.Sequential)]
public struct MergeDecision
{
    public MergeMode mode;
    public MergeContainer container;
    [MarshalAs(UnmanagedType.ByValArray, SizeConst = 32)] internal byte[] extension;
    [MarshalAs(UnmanagedType.ByValArray, SizeConst = 32)] internal byte[] altExtension;

    public string Extension { get { return Mpg.Text(extension); } }
    public string AltExtension { get { return Mpg.Text(altExtension); } }
}

[StructLayout(LayoutKind.Sequential)]
public struct MergeDecisionPrefix
{
    public MergeMode mode;
    public MergeContainer container;
}

[StructLayout(LayoutKind.Sequential)]
internal struct HostString
{
    public IntPtr characters;  // with a capacity of 16 or more, a pointer
    public ulong unused;
    public ulong length;
    public ulong capacity;
}

/// <summary>What Transcode is to make; 0 in every field but formatId copies both streams.</summary>
[StructLayout(LayoutKind.Sequential)]
public struct TranscodeParams
{
    public OutputFormat formatId;
    public TargetAudioCodec targetAudioCodec;
    public int targetAudioBitRate;
    public int targetSampleRate;
    public int targetChannels;
    public TargetVideoCodec targetVideoCodec;
    public int targetWidth;
    public int targetHeight;
    public int scalePercent;
    public int targetVideoBitRate;
    public int videoReencode;
    public int reserved;
}

public static class Mpg
{
    static readonly object ErrorText = new object();

    /// <summary>Only while no operation runs.</summary>
    public static void SetPercent100(uint value) { Native(() => MPG_SetPercent100(value)); }

    public static string GetErrorText(int code)
    {
        lock (ErrorText) return Native(() => Text(MPG_GetErrorText(code)));
    }

    public static void TestParams() { Native(MPG_TestParams); }

    public static bool IsThisGoodFile(string path)
    {
        return Native(() => MPG_IsThisGoodFile(Utf8(path))) != 0;
    }

    public static MediaInfo GetMediaInfo(string path)
    {
        var info = new MediaInfo();
        if (Native(() => MPG_GetMediaInfo(Utf8(path), out info)) != 0) return info;
        throw Unreadable(path, 0) ?? new MpgException(0, path + ": " +
            (IsThisGoodFile(path) ? "holds neither video nor audio" : "not a media file"));
    }

    public static int GetAudioDuration(string path)
    {
        return Native(() => MPG_GetAudioDuration(Utf8(path)));
    }

    /// <summary>Older form of MergeOP2, without extensions.</summary>
    public static MergeDecisionPrefix MergeOP(string video, string audio)
    {
        var decision = new MergeDecisionPrefix();
        Require(Native(() => MPG_MergeOP(Utf8(video), Utf8(audio), out decision)), null, video, audio);
        return decision;
    }

    public static MergeDecision MergeOP2(string video, string audio)
    {
        var decision = new MergeDecision();
        Require(Native(() => MPG_MergeOP2(Utf8(video), Utf8(audio), out decision)), null, video, audio);
        return decision;
    }

    public static string GetDefExtension(string path)
    {
        var buffer = new byte[32];
        Native(() => MPG_GetDefExtension(Utf8(path), buffer, buffer.Length));
        return Text(buffer);
    }

    public static string GetDefExt(OutputFormat format)
    {
        return Native(() => Text(MPG_GetDefExt(format)));
    }

    public static void MergeAV(string video, string audio, string output,
        IProgress<int> progress = null, CancellationToken token = default(CancellationToken))
    {
        Operate(report => MPG_MergeAV(Utf8(video), Utf8(audio), Utf8(output), report, 0),
            progress, token, output, video, audio);
    }

    public static void Merge(IEnumerable<string> segments, string output,
        bool deleteSegments = false, bool closeGaps = false, IProgress<int> progress = null,
        CancellationToken token = default(CancellationToken))
    {
        var paths = segments.ToArray();
        // Segments may be missing: only those that are there can be the reason.
        var there = paths.Where(File.Exists).DefaultIfEmpty(paths.FirstOrDefault() ?? "").ToArray();
        var texts = new List<IntPtr>();
        try
        {
            foreach (var path in paths) texts.Add(Allocate(Utf8(path)));
            var list = texts.Concat(new[] { IntPtr.Zero }).ToArray();
            Operate(report => MPG_Merge(list, Utf8(output), (byte)(deleteSegments ? 1 : 0),
                (byte)(closeGaps ? 1 : 0), report, 0), progress, token, output, there);
        }
        finally
        {
            texts.ForEach(Marshal.FreeHGlobal);
        }
    }

    public static void FlvFixDuration(string path)
    {
        Require(Native(() => FLV_FixDuration(Utf8(path))), path, path);
    }

    public static void Mp3Convert(string input, string output, int bitRate = 0,
        IProgress<int> progress = null, CancellationToken token = default(CancellationToken))
    {
        Operate(report => MP3_Convert(Utf8(input), Utf8(output), bitRate, report, 0),
            progress, token, output, input);
    }

    public static void Transcode(string input, string output, TranscodeParams settings,
        IProgress<int> progress = null, CancellationToken token = default(CancellationToken))
    {
        byte[] inputText = Utf8(input), outputText = Utf8(output);
        IntPtr from = Allocate(inputText), to = Allocate(outputText);
        try
        {
            var inputString = View(from, inputText);
            var outputString = View(to, outputText);
            Operate(report => MPG_Transcode(ref inputString, ref outputString, ref settings,
                report, 0), progress, token, output, input);
        }
        finally
        {
            Marshal.FreeHGlobal(from);
            Marshal.FreeHGlobal(to);
        }
    }

    public static void SaveTrimmedVideo(string input, string output, uint start, uint end)
    {
        Require(Native(() => MPG_SaveTrimmedVideo(Utf8(input), Utf8(output), start, end)),
            output, input);
    }

    public static void Crop(string input, string output)
    {
        Require(Native(() => MPG_Crop(Utf8(input), Utf8(output))), output, input);
    }

    public static void ShiftAudio(string input, string output, int milliseconds,
        IProgress<int> progress = null, CancellationToken token = default(CancellationToken))
    {
        Operate(report => MPG_ShiftAudio(Utf8(input), Utf8(output), milliseconds, report, 0),
            progress, token, output, input);
    }

    /// <summary>Saves the first key picture that isn't of one colour.</summary>
    public static void GetImage(string input, string output, ImageFormat format = ImageFormat.Jpeg,
        int height = 0, uint quality = 90)
    {
        RequirePicture(Native(() => MPG_GetImage(format, Utf8(input), Utf8(output), height, quality))
            != 0, input);
    }

    /// <summary>The same from a position in percent of the duration.</summary>
    public static void GetImageP(string input, string output, int position,
        ImageFormat format = ImageFormat.Jpeg, int height = 0, uint quality = 90)
    {
        RequirePicture(Native(() => MPG_GetImageP(format, Utf8(input), Utf8(output), position,
            height, quality)) != 0, input);
    }

    /// <summary>The picture at a time, laid out as mpg.h describes: no BMP file, 4 bytes stand
    /// before the rows.</summary>
    public static byte[] GetImageBMP(string input, uint second, uint height = 0)
    {
        uint size = 0;
        var bitmap = Native(() => MPG_GetImageBMP(Utf8(input), second, out size, height));
        RequirePicture(bitmap != IntPtr.Zero, input);
        try
        {
            var bytes = new byte[size];
            Marshal.Copy(bitmap, bytes, 0, bytes.Length);
            return bytes;
        }
        finally
        {
            if (IsWindows) FreeOfMsvcrt(bitmap);
            else FreeOfLibc(bitmap);
        }
    }

    /// <summary>Saves the picture at a time as a small JPEG file.</summary>
    public static void GetImageJPG(string input, string output, uint second, uint height = 0)
    {
        RequirePicture(Native(() => MPG_GetImageJPG(Utf8(input), Utf8(output), second, height)) != 0,
            input);
    }

    static bool IsWindows { get { return Path.DirectorySeparatorChar == '\\'; } }

    internal static string Text(byte[] field)
    {
        return field == null ? "" : Encoding.UTF8.GetString(field).Split('\0')[0];
    }

    static string Text(IntPtr text)
    {
        int length = 0;
        while (Marshal.ReadByte(text, length) != 0) ++length;
        var bytes = new byte[length];
        Marshal.Copy(text, bytes, 0, length);
        return Encoding.UTF8.GetString(bytes);
    }

    static byte[] Utf8(string path)
    {
        if (path == null) throw new ArgumentNullException("path");
        if (path.IndexOf('\0') >= 0) throw new ArgumentException("a null character in a path");
        return Encoding.UTF8.GetBytes(path + "\0");
    }

    static IntPtr Allocate(byte[] text)
    {
        var memory = Marshal.AllocHGlobal(text.Length);
        Marshal.Copy(text, 0, memory, text.Length);
        return memory;
    }

    static HostString View(IntPtr memory, byte[] text)
    {
        var length = (ulong)text.Length - 1;
        return new HostString { characters = memory, length = length,
            capacity = Math.Max(length, 16) };
    }

    static T Native<T>(Func<T> call)
    {
        try
        {
            return call();
        }
        catch (Exception error) when (error is DllNotFoundException ||
            error is BadImageFormatException || error is EntryPointNotFoundException)
        {
            throw new MpgException(0, (IsWindows
                ? "mpg.dll and its five FFmpeg DLLs must lie beside the program (" +
                  AppDomain.CurrentDomain.BaseDirectory + ") or in PATH"
                : "libmpg.so must be where the system's loader looks (LD_LIBRARY_PATH), and " +
                  "FFmpeg 5.1's libraries installed") +
                (IntPtr.Size == 8 ? ". " : "; they have 64 bits, this process 32. ") + error.Message,
                error);
        }
    }

    static void Native(Action call)
    {
        Native(() => { call(); return 0; });
    }

    static void Operate(Func<Callback, int> operation, IProgress<int> progress,
        CancellationToken token, string output, params string[] inputs)
    {
        ExceptionDispatchInfo thrown = null;
        bool stopped = false;
        // An exception must not cross the library: it stops the operation and comes out below.
        Callback report = (ref ProgressInfo info) =>
        {
            try
            {
                if (!stopped && progress != null) progress.Report(info.percent);
                stopped = stopped || token.IsCancellationRequested;
            }
            catch (Exception error)
            {
                thrown = ExceptionDispatchInfo.Capture(error);
                stopped = true;
            }
            return (byte)(stopped ? 0 : 1);
        };
        token.ThrowIfCancellationRequested();
        int code = Native(() => operation(report));
        GC.KeepAlive(report);
        if (thrown != null) thrown.Throw();
        Require(code, output, inputs);
        if (stopped) throw new MpgCanceledException(output, token);
    }

    static void RequirePicture(bool made, string path)
    {
        if (!made) throw Unreadable(path, 0) ??
            new MpgException(0, path + ": no picture could be saved");
    }

    // Why the system doesn't let a file be read, if so.
    static MpgException Unreadable(string path, int code)
    {
        if (Directory.Exists(path)) return new MpgException(code, path + ": is a folder");
        try
        {
            using (File.OpenRead(path)) return null;
        }
        catch (Exception error) when (error is IOException || error is UnauthorizedAccessException ||
            error is ArgumentException)
        {
            var reason = error is FileNotFoundException || error is DirectoryNotFoundException
                ? "no such file" : error.Message;
            return new MpgException(code, path + ": " + reason, error);
        }
    }

    // Throws after a failure: says which file, and why, as far as that can be found out afterwards.
    static void Require(int code, string output, params string[] inputs)
    {
        if (code == 0) return;
        foreach (var input in inputs)
        {
            var unreadable = Unreadable(input, code);
            if (unreadable != null) throw unreadable;
        }
        // All of them are files by now; a refused output that exists is one of them.
        if (code == MpgException.InvalidParameter && output != null && File.Exists(output))
            throw new MpgException(code, output + ": the output is one of the inputs");
        if (code == MpgException.InvalidParameter)
            throw new MpgException(code, "an argument is empty or out of range");
        var folder = output == null ? null : Path.GetDirectoryName(Path.GetFullPath(output));
        if (folder != null && !Directory.Exists(folder))
            throw new MpgException(code, folder + ": no such folder");
        bool isSystem = code < 0 && code > -4096;
        var about = isSystem && output != null ? new[] { output }
            : code == MpgException.VideoCodecNotFound ? inputs.Take(1)
            : code == MpgException.AudioCodecNotFound ? inputs.Reverse().Take(1) : inputs;
        throw new MpgException(code, string.Join(", ", about) + ": " + GetErrorText(code));
    }

    [UnmanagedFunctionPointer(CallingConvention.Cdecl)]
    delegate byte Callback(ref ProgressInfo progress);

    const string Dll = "mpg";
    const CallingConvention C = CallingConvention.Cdecl;

    [DllImport(Dll, CallingConvention = C)] static extern void MPG_SetPercent100(uint value);
    [DllImport(Dll, CallingConvention = C)] static extern IntPtr MPG_GetErrorText(int code);
    [DllImport(Dll, CallingConvention = C)] static extern void MPG_TestParams();
    [DllImport(Dll, CallingConvention = C)] static extern uint MPG_IsThisGoodFile(byte[] path);
    [DllImport(Dll, CallingConvention = C)]
    static extern byte MPG_GetMediaInfo(byte[] path, out MediaInfo info);
    [DllImport(Dll, CallingConvention = C)] static extern int MPG_GetAudioDuration(byte[] path);
    [DllImport(Dll, CallingConvention = C)]
    static extern int MPG_MergeOP(byte[] video, byte[] audio, out MergeDecisionPrefix decision);
    [DllImport(Dll, CallingConvention = C)]
    static extern int MPG_MergeOP2(byte[] video, byte[] audio, out MergeDecision decision);
    [DllImport(Dll, CallingConvention = C)]
    static extern void MPG_GetDefExtension(byte[] path, [Out] byte[] buffer, int size);
    [DllImport(Dll, CallingConvention = C)] static extern IntPtr MPG_GetDefExt(OutputFormat format);
    [DllImport(Dll, CallingConvention = C)]
    static extern int MPG_MergeAV(byte[] video, byte[] audio, byte[] output, Callback callback,
        ulong context);
    [DllImport(Dll, CallingConvention = C)]
    static extern int MPG_Merge(IntPtr[] segments, byte[] output, byte deleteSegments,
        byte closeGaps, Callback callback, ulong context);
    [DllImport(Dll, CallingConvention = C)] static extern int FLV_FixDuration(byte[] path);
    [DllImport(Dll, CallingConvention = C)]
    static extern int MP3_Convert(byte[] input, byte[] output, int bitRate, Callback callback,
        ulong context);
    [DllImport(Dll, CallingConvention = C)]
    static extern int MPG_Transcode(ref HostString input, ref HostString output,
        ref TranscodeParams settings, Callback callback, ulong context);
    [DllImport(Dll, CallingConvention = C)]
    static extern int MPG_SaveTrimmedVideo(byte[] input, byte[] output, uint start, uint end);
    [DllImport(Dll, CallingConvention = C)] static extern int MPG_Crop(byte[] input, byte[] output);
    [DllImport(Dll, CallingConvention = C)]
    static extern int MPG_ShiftAudio(byte[] input, byte[] output, int milliseconds,
        Callback callback, ulong context);
    [DllImport(Dll, CallingConvention = C)]
    static extern uint MPG_GetImage(ImageFormat format, byte[] input, byte[] output, int height,
        uint quality);
    [DllImport(Dll, CallingConvention = C)]
    static extern byte MPG_GetImageP(ImageFormat format, byte[] input, byte[] output, int position,
        int height, uint quality);
    [DllImport(Dll, CallingConvention = C)]
    static extern IntPtr MPG_GetImageBMP(byte[] input, uint second, out uint size, uint height);
    [DllImport(Dll, CallingConvention = C)]
    static extern byte MPG_GetImageJPG(byte[] input, byte[] output, uint second, uint height);

    // The bitmap comes from malloc of the runtime that the library uses.
    [DllImport("msvcrt", EntryPoint = "free", CallingConvention = C)]
    static extern void FreeOfMsvcrt(IntPtr memory);
    [DllImport("libc", EntryPoint = "free", CallingConvention = C)]
    static extern void FreeOfLibc(IntPtr memory);
}
