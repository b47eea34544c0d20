import sys

import av

clip, left = sys.argv[1], int(sys.argv[2])
with av.open(clip) as container:
    stream = container.streams.video[0]
    stream.codec_context.thread_count = 1
    stream.thread_type = "NONE"
    for picture in container.decode(stream):
        if left == 0:
            break
        picture.to_ndarray()
        left -= 1
sys.exit(1 if left else 0)
