// What is heard, and what the microphone hears.

export class Player {
  /** `ended` is called when a sound has played to its end. */
  constructor(module, ended) {
    this.module = module;
    this.ended = ended;
  }

  /** The audio context, made when a user's action allows it to sound. */
  async open() {
    if (this.context === undefined) {
      this.context = new AudioContext();
      this.ready = Promise.all(["filter_worklet.js", "capture_worklet.js"].map((file) =>
        this.context.audioWorklet.addModule(new URL(file, import.meta.url))));
    }
    await this.ready;
    // Without a user's action this never settles.
    await Promise.race([this.context.resume(), new Promise((done) => setTimeout(done, 500))]);
    return this.context.state === "running";
  }

  decode(bytes) {
    return (this.context ?? new OfflineAudioContext(1, 1, 48000)).decodeAudioData(bytes.slice(0));
  }

  get isPlaying() {
    return this.source !== undefined;
  }

  /** Seconds into the sound that plays. */
  get position() {
    return this.offset + (this.isPlaying ? this.context.currentTime - this.startedAt : 0);
  }

  /**
   * Plays samples from `offset` seconds on, through second-order sections if there are some. Gives whether it sounds, or
   * undefined if it was stopped, or another sound begun, before the audio context was ready.
   */
  async play(samples, sampleRate, offset, sections) {
    this.stop();
    const { stops } = this;
    const isOpen = await this.open();
    if (stops !== this.stops) return undefined;
    if (!isOpen) return false;
    const buffer = this.context.createBuffer(1, samples.length, sampleRate);
    buffer.copyToChannel(samples, 0);
    const source = new AudioBufferSourceNode(this.context, { buffer });
    this.source = source;
    if (sections) {
      this.filter = new AudioWorkletNode(this.context, "kelvo-filter", {
        channelCount: 1, channelCountMode: "explicit", outputChannelCount: [1], processorOptions: { module: this.module, sections },
      });
      source.connect(this.filter).connect(this.context.destination);
    } else {
      source.connect(this.context.destination);
    }
    source.onended = () => {
      if (this.source !== source) return;
      this.stop();
      this.ended();
    };
    this.offset = offset;
    this.startedAt = this.context.currentTime;
    source.start(0, offset);
    return true;
  }

  /** Changes the filter while it runs. */
  refilter(sections) {
    this.filter?.port.postMessage(sections);
  }

  get sampleRate() {
    return this.context?.sampleRate;
  }

  stop() {
    ++this.stops;
    if (!this.isPlaying) return;
    this.offset = this.position;
    const { source } = this;
    this.source = undefined;
    source.stop();
    source.disconnect();
    this.filter?.disconnect();
    this.filter = undefined;
  }

  offset = 0;
  stops = 0;

  /** Calls `hear` with each block from the microphone until `stopRecording`. */
  async record(hear) {
    const stream = await navigator.mediaDevices.getUserMedia({
      audio: { channelCount: 1, echoCancellation: false, noiseSuppression: false, autoGainControl: false },
    });
    await this.open();
    this.microphone = stream;
    const capture = new AudioWorkletNode(this.context, "kelvo-capture", { numberOfOutputs: 0 });
    capture.port.onmessage = ({ data }) => hear(data);
    this.capture = this.context.createMediaStreamSource(stream);
    this.capture.connect(capture);
  }

  stopRecording() {
    this.capture?.disconnect();
    for (const track of this.microphone?.getTracks() ?? []) track.stop();
    this.capture = this.microphone = undefined;
  }
}
