import sys

import mpg

video, audio, output = sys.argv[1:]
try:
    mpg.merge_av(video, audio, output, on_progress=lambda percent: percent < 50)
    print("wrote", output)
except mpg.Cancelled as stopped:
    print(f"stopped; {stopped.output} holds the first half")
except FileNotFoundError as error:  # an MpgError, too
    sys.exit(f"failed: {error.filename} is missing")
except mpg.MpgError as error:
    sys.exit(f"failed: {error}")
