"""Texts that lead an engine to other files or to the network, under the names of films."""
from attack_input import REFUSED, AttackInput, content

HLS = "#EXTM3U\n#EXT-X-VERSION:3\n#EXT-X-TARGETDURATION:10\n"
DASH = (
    '<?xml version="1.0"?><MPD xmlns="urn:mpeg:dash:schema:mpd:2011" type="static" '
    'mediaPresentationDuration="PT10S" profiles="urn:mpeg:dash:profile:isoff-on-demand:2011">'
    "<Period><AdaptationSet mimeType=\"video/mp4\"><Representation id=\"1\" bandwidth=\"1000\">"
)
DASH_END = "</Representation></AdaptationSet></Period></MPD>\n"

# Each is a playlist that leads to {target}.
TEMPLATES = {
    "hls.m3u8": HLS + "#EXTINF:10,\n{target}\n#EXT-X-ENDLIST\n",
    "hls.mp4": HLS + "#EXTINF:10,\n{target}\n#EXT-X-ENDLIST\n",
    "hls_map.ts": HLS + '#EXT-X-MAP:URI="{target}"\n#EXTINF:10,\n{target}\n#EXT-X-ENDLIST\n',
    "hls_key.mkv": HLS + '#EXT-X-KEY:METHOD=AES-128,URI="{target}"\n#EXTINF:10,\n{target}\n',
    "hls_master.avi": "#EXTM3U\n#EXT-X-STREAM-INF:BANDWIDTH=1\n{target}\n",
    "hls_media.mov": '#EXTM3U\n#EXT-X-MEDIA:TYPE=AUDIO,GROUP-ID="a",NAME="a",URI="{target}"\n'
    '#EXT-X-STREAM-INF:BANDWIDTH=1,AUDIO="a"\n{target}\n',
    "hls_concat.mp4": HLS + "#EXTINF:10,\nconcat:{target}|{target}\n#EXT-X-ENDLIST\n",
    "hls_subfile.mp4": HLS + "#EXTINF:10,\nsubfile,,start,0,end,999,,:{target}\n",
    "concat.txt": "ffconcat version 1.0\nfile '{target}'\n",
    "concat.mp4": "ffconcat version 1.0\nfile '{target}'\nduration 10\n",
    "concat_option.ts": "ffconcat version 1.0\nfile '{target}'\n"
    "option protocol_whitelist file,http,tcp\n",
    "dash_base.mpd": DASH + "<BaseURL>{target}</BaseURL>" + DASH_END,
    "dash_base.mp4": DASH + "<BaseURL>{target}</BaseURL>" + DASH_END,
    "dash_list.mp4": DASH + '<SegmentList><Initialization sourceURL="{target}"/>'
    '<SegmentURL media="{target}"/></SegmentList>' + DASH_END,
    "sdp.sdp": "v=0\no=- 0 0 IN IP4 127.0.0.1\ns={target}\nc=IN IP4 127.0.0.1\nt=0 0\n"
    "m=video {port} RTP/AVP 96\na=rtpmap:96 H264/90000\n",
    "sdp.mp4": "v=0\no=- 0 0 IN IP4 127.0.0.1\ns={target}\nc=IN IP4 127.0.0.1\nt=0 0\n"
    "m=audio {port} RTP/AVP 0\na=control:{target}\n",
    "plain.m3u": "{target}\n",
    "pls.mp3": "[playlist]\nFile1={target}\nNumberOfEntries=1\nVersion=2\n",
    "asx.asf": '<asx version="3.0"><entry><ref href="{target}"/></entry></asx>\n',
    "reference.asf": "[Reference]\nRef1={target}\nRef2={target}\n",
    "smil.mov": '<smil><body><video src="{target}"/></body></smil>\n',
    "ims.ts": "IMSC {target}\nIMS ims\nmms://127.0.0.1:{port}/a\n",
    "rtsptext.mov": "RTSPtext\nrtsp://127.0.0.1:{port}/film\n",
    "svg.mp4": '<svg xmlns="http://www.w3.org/2000/svg" width="64" height="64">'
    '<image href="{target}" width="64" height="64"/></svg>\n',
    "metadata.mkv": ";FFMETADATA1\ntitle={target}\n[CHAPTER]\nSTART=0\nEND=1\n",
}


def inputs(canary, port):
    """Each template, leading to the film at `canary` and to the listener on `port`."""
    made = []
    for file_name, template in TEMPLATES.items():
        stem = file_name.replace(".", "_")
        for kind, target in (
            ("file", canary),
            ("loopback", f"http://127.0.0.1:{port}/{stem}.ts"),
        ):
            text = template.format(target=target, port=port)
            made.append(AttackInput(f"{stem}_{kind}", file_name, content(text), REFUSED))
    return made
