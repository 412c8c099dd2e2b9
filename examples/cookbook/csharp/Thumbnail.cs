using System;

static class Thumbnail
{
    static int Main(string[] arguments)
    {
        try
        {
            // A picture from a tenth of the film on, 180 pixels high.
            Mpg.GetImageP(arguments[0], arguments[1], 10, height: 180, quality: 85);
            return 0;
        }
        catch (MpgException error)
        {
            Console.Error.WriteLine(error.Message);
            return 1;
        }
    }
}
