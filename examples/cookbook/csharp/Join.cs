using System;

// Not Progress<int>, which would call from another thread, later.
class ShowProgress : IProgress<int>
{
    public void Report(int percent) { Console.Write("\r{0} %", percent); }
}

static class Join
{
    static int Main(string[] arguments)
    {
        try
        {
            string video = arguments[0], audio = arguments[1];
            var output = arguments[2] + "." + Mpg.MergeOP2(video, audio).Extension;
            Mpg.MergeAV(video, audio, output, new ShowProgress());
            Console.WriteLine("\nwrote " + output);
            return 0;
        }
        catch (MpgException error)
        {
            Console.Error.WriteLine(error.Message);
            return 1;
        }
    }
}
