using System;
using System.Threading;

class StopAtHalf : IProgress<int>
{
    public readonly CancellationTokenSource Source = new CancellationTokenSource();

    public void Report(int percent)
    {
        if (percent >= 50) Source.Cancel();
    }
}

static class Stop
{
    static int Main(string[] arguments)
    {
        var half = new StopAtHalf();
        try
        {
            Mpg.MergeAV(arguments[0], arguments[1], arguments[2], half, half.Source.Token);
            Console.WriteLine("wrote " + arguments[2]);
            return 0;
        }
        catch (MpgCanceledException stopped)
        {
            Console.WriteLine("stopped; {0} holds the first half", stopped.Output);
            return 0;
        }
        catch (MpgException error)
        {
            Console.Error.WriteLine("failed: " + error.Message);
            return 1;
        }
    }
}
