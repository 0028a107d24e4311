// Filters what plays, block by block, in the audio thread.
import { instantiate } from "./kelvo-audio/index.js";

class Filter extends AudioWorkletProcessor {
  constructor({ processorOptions: { module, sections } }) {
    super();
    // A worklet cannot fetch: it is handed the compiled module.
    this.audio = instantiate(module);
    this.filters = [];
    this.use(sections);
    this.port.onmessage = ({ data }) => this.use(data);
  }

  use(sections) {
    for (const filter of this.filters) filter.close();
    this.sections = sections;
    this.filters = [];
  }

  process([input], [output]) {
    while (this.filters.length < input.length) this.filters.push(this.audio.filterStream({ sos: this.sections }));
    for (let channel = 0; channel < input.length; ++channel) this.filters[channel].push(input[channel], output[channel]);
    return true;
  }
}

registerProcessor("kelvo-filter", Filter);
