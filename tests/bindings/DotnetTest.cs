// Mpg.cs against the built library. Arguments: the source tree's root and an empty folder.
using System;
using System.Collections.Generic;
using System.Diagnostics;
using System.IO;
using System.Linq;
using System.Reflection;
using System.Runtime.InteropServices;
using System.Text.RegularExpressions;
using System.Threading;

class Report : IProgress<int>
{
    public readonly List<int> Seen = new List<int>();
    public Action Then = () => { };

    void IProgress<int>.Report(int percent)
    {
        Seen.Add(percent);
        // Whatever holds the callback must survive this.
        GC.Collect();
        Then();
    }
}

static class DotnetTest
{
    static int failures;

    static void Equal(object expected, object actual, string what)
    {
        if (expected.Equals(actual)) return;
        Console.Error.WriteLine("{0}: expected {1}, was {2}", what, expected, actual);
        ++failures;
    }

    static T Throws<T>(string what, string message, Action call) where T : Exception
    {
        try
        {
            call();
        }
        catch (T error)
        {
            Equal(message, error.Message, what);
            return error;
        }
        Equal(typeof(T).Name, "nothing thrown", what);
        return null;
    }

    static void Ffmpeg(string arguments)
    {
        using (var process = Process.Start(
                   new ProcessStartInfo("ffmpeg", "-v error -y " + arguments)
                       { UseShellExecute = false }))
            process.WaitForExit();
    }

    static void RecordsAndMethodsAreTheLibrarys(string root)
    {
        var table = File.ReadAllText(root + "/src/api/record_layout.cpp");
        var types = typeof(Mpg).Assembly.GetTypes().ToDictionary(type => type.FullName);
        var sizes = Regex.Matches(table, @"HasSize<(\w+)>\((\d+)\)");
        var offsets = Regex.Matches(table, @"offsetof\((\w+), (\w+)\) == (\d+)");
        Equal(6, sizes.Count, "sizes in the table");
        Equal(36, offsets.Count, "offsets in the table");
        foreach (Match size in sizes)
            Equal(int.Parse(size.Groups[2].Value), Marshal.SizeOf(types[size.Groups[1].Value]),
                size.Value);
        foreach (Match offset in offsets)
            Equal(int.Parse(offset.Groups[3].Value), Marshal.OffsetOf(
                types[offset.Groups[1].Value], offset.Groups[2].Value).ToInt32(), offset.Value);
        var methods = typeof(Mpg).GetMethods().Select(method => method.Name).ToList();
        foreach (Match export in Regex.Matches(File.ReadAllText(root + "/include/mpg/mpg.h"),
                     @"^MPG_API [\w\s*]+?(\w+)\(", RegexOptions.Multiline))
            Equal(true, methods.Contains(export.Groups[1].Value.Replace("MPG_", "")
                .Replace("FLV_", "Flv").Replace("MP3_", "Mp3")), export.Value);
    }

    static void OperationsHandOnEveryArgument(string video, string audio)
    {
        var decision = Mpg.MergeOP2(video, audio);
        Mpg.MergeAV(video, audio, "av.mp4");
        Equal("Copy Mp4 mp4 Copy True 4 mp4 mpg", string.Join(" ", decision.mode,
            decision.container, decision.Extension, Mpg.MergeOP(video, audio).mode,
            Mpg.IsThisGoodFile(video), Mpg.GetAudioDuration(audio), Mpg.GetDefExtension("av.mp4"),
            Mpg.GetDefExt(OutputFormat.Mpeg)), "answers");
        Ffmpeg("-i av.mp4 -c copy -flvflags no_duration_filesize live.flv");
        Mpg.FlvFixDuration("live.flv");
        Mpg.Merge(new[] { "av.mp4", "none", "av.mp4" }, "two.mp4", closeGaps: true);
        Mpg.Mp3Convert("av.mp4", "a.mp3", 96000);
        Mpg.SaveTrimmedVideo("av.mp4", "trim.mp4", 1, 2);
        Mpg.Crop("av.mp4", "crop.mp4");
        Mpg.ShiftAudio("av.mp4", "late.mp4", 500);
        Mpg.Transcode("av.mp4", "a long name of a stream.ts",
            new TranscodeParams { formatId = OutputFormat.Ts });
        Mpg.GetImage("av.mp4", "a.jpg", height: 120);
        Mpg.GetImageP("av.mp4", "b.bmp", 50, ImageFormat.Bmp, 60);
        Mpg.GetImageJPG("av.mp4", "c.jpg", 2, 30);
        Equal(58 + 160 * 120 * 3, Mpg.GetImageBMP("av.mp4", 1, 120).Length, "bitmap");
        foreach (var expected in new[] { "two.mp4: 8 320 H264 AAC", "a.mp3: 4 0  MP3",
                     "trim.mp4: 3 320 H264 AAC", "crop.mp4: 4 320 H264 AAC",
                     "late.mp4: 4 320 H264 AAC", "a long name of a stream.ts: 4 320 H264 AAC",
                     "live.flv: 3 320 H264 AAC", "a.jpg: 0 160 MJPEG ", "b.bmp: 0 80 BMP ",
                     "c.jpg: 0 40 MJPEG " })
        {
            var file = expected.Split(':')[0];
            var info = Mpg.GetMediaInfo(file);
            Equal(expected, file + ": " + string.Join(" ", info.duration, info.width,
                info.VideoCodec, info.AudioCodec), file);
        }
    }

    static void ProgressStopsAndThrows(string video, string audio)
    {
        var report = new Report();
        var stop = new CancellationTokenSource();
        Action join = () => Mpg.MergeAV(video, audio, "p.mp4", report, stop.Token);
        join();
        Equal("100 True", report.Seen.Last() + " " + (report.Seen.Count > 10), "reports");
        Mpg.SetPercent100(1000);
        join();
        Mpg.SetPercent100(100);
        Equal(1000, report.Seen.Last(), "scale");
        report.Then = () => { throw new InvalidOperationException("of the host"); };
        Throws<InvalidOperationException>("callback", "of the host", join);
        report.Then = stop.Cancel;
        Equal("p.mp4", Throws<MpgCanceledException>("stop", "stopped; so far in p.mp4", join).Output,
            "kept");
        Equal(true, Mpg.IsThisGoodFile("p.mp4"), "a stopped file");
    }

    static void ErrorsNameTheFileAndTheReason(string video, string audio)
    {
        File.WriteAllText("text.mp4", "no media");
        var noFolder = Path.GetFullPath("none");
        foreach (var test in new Dictionary<string, Action> {
            { "nofile: no such file", () => Mpg.MergeAV("nofile", audio, "x.mp4") },
            { ".: is a folder", () => Mpg.MergeAV(video, ".", "x.mp4") },
            { video + ": the output is one of the inputs",
                () => Mpg.MergeAV(video, audio, video) },
            { noFolder + ": no such folder", () => Mpg.MergeAV(video, audio, "none/x.mp4") },
            { audio + ": Video codec not found", () => Mpg.MergeAV(audio, audio, "x.mp4") },
            { "text.mp4: not a media file", () => Mpg.GetMediaInfo("text.mp4") },
            { audio + ": no picture could be saved", () => Mpg.GetImageBMP(audio, 0) } })
            Throws<MpgException>("error", test.Key, test.Value);
        Equal("Audio stream not found", Mpg.GetErrorText(MpgException.AudioStreamNotFound), "text");
        Mpg.TestParams();
    }

    static int Main(string[] arguments)
    {
        Directory.SetCurrentDirectory(arguments[1]);
        const string video = "film ö.mp4", audio = "film.m4a";
        Ffmpeg("-f lavfi -i testsrc2=s=320x240:d=4 -c:v libx264 -preset ultrafast -g 25 \"" +
            video + "\"");
        Ffmpeg("-f lavfi -i sine=d=4 -c:a aac " + audio);
        RecordsAndMethodsAreTheLibrarys(arguments[0]);
        OperationsHandOnEveryArgument(video, audio);
        ProgressStopsAndThrows(video, audio);
        ErrorsNameTheFileAndTheReason(video, audio);
        return failures == 0 ? 0 : 1;
    }
}
