using System;
using System.IO;

class ShowProgress : IProgress<int>
{
    public void Report(int percent) { Console.Write("\r{0} %", percent); }
}

static class Mp3
{
    static int Main(string[] arguments)
    {
        try
        {
            Mpg.Mp3Convert(arguments[0], arguments[1], 192000, new ShowProgress());
            Console.WriteLine();
            return 0;
        }
        catch (MpgException error)
        {
            // A failed conversion leaves what was written so far.
            File.Delete(arguments[1]);
            Console.Error.WriteLine(error.Message);
            return 1;
        }
    }
}
