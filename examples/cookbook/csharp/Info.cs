using System;

static class Info
{
    static int Main(string[] arguments)
    {
        try
        {
            var info = Mpg.GetMediaInfo(arguments[0]);
            Console.WriteLine(info.duration + " s");
            if (info.videoStreams > 0)
                Console.WriteLine("{0} {1} x {2}", info.VideoCodec, info.width, info.height);
            if (info.AudioCodec != "")
                Console.WriteLine("{0} {1} Hz", info.AudioCodec, info.sampleRate);
            return 0;
        }
        catch (MpgException error)
        {
            Console.Error.WriteLine(error.Message);
            return 1;
        }
    }
}
