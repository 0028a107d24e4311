// Hands what the microphone hears to the page, a few hundredths of a second at a time.
class Capture extends AudioWorkletProcessor {
  block = new Float32Array(1024);
  filled = 0;

  process([[channel]]) {
    if (channel === undefined) return true;
    this.block.set(channel, this.filled);
    this.filled += channel.length;
    if (this.filled === this.block.length) {
      this.port.postMessage(this.block); // a copy
      this.filled = 0;
    }
    return true;
  }
}

registerProcessor("kelvo-capture", Capture);
