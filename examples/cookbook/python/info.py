import sys

import mpg

try:
    info = mpg.media_info(sys.argv[1])
except mpg.MpgError as error:
    sys.exit(str(error))
print(info.duration, "s")
if info.video_streams:
    print(f"{info.video_codec} {info.width} x {info.height}")
if info.audio_codec:
    print(f"{info.audio_codec} {info.sample_rate} Hz")
