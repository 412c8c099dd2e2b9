import sys

import mpg


def show_progress(percent):
    print(f"\r[{'#' * (percent // 5):20}] {percent} %", end="", flush=True)


video, audio, name = sys.argv[1:]
try:
    output = f"{name}.{mpg.merge_op2(video, audio).extension}"
    mpg.merge_av(video, audio, output, on_progress=show_progress)
except mpg.MpgError as error:
    sys.exit(str(error))
print("\nwrote", output)
