using System;
using System.Linq;

static class Segments
{
    static int Main(string[] arguments)
    {
        try
        {
            // Without deleteSegments the host deletes them when all of its work is done. A failed
            // join deletes its output. closeGaps: times go on where the previous segment ended.
            Mpg.Merge(arguments.Skip(1), arguments[0], closeGaps: true);
            Console.WriteLine("wrote " + arguments[0]);
            return 0;
        }
        catch (MpgException error)
        {
            Console.Error.WriteLine("the segments are kept: " + error.Message);
            return 1;
        }
    }
}
